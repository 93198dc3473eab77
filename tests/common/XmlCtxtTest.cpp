#include "common/XmlCtxt.h"

#include <gtest/gtest.h>

#include <string>

#include "base/WideString.h"
#include "support/Files.h"
#include "support/TempDir.h"

namespace {

using kvrtest::TempDir;

// A small data class with a text and a number, written as <Thing><Name/><Count/></Thing>.
class CThing : public CXmlCtxt {
public:
    std::wstring name = L"start";
    int count = 7;
    int texts = 0; // OnXmlNodeText calls of the last load

protected:
    const wchar_t* XmlRootTag() const override { return L"Thing"; }
    void XmlSave() override {
        XmlBeginElement(L"Thing");
        XmlBeginElement(L"Name");
        XmlSetText(name);
        XmlEndElement();
        XmlBeginElement(L"Count");
        XmlSetText(std::to_wstring(count));
        XmlEndElement();
        XmlEndElement();
    }
    void OnXmlLoadStart() override { texts = 0; }
    void OnXmlNodeText(const wchar_t* text) override {
        ++texts;
        if (XmlGetTag(1) != L"Thing") return;
        if (XmlGetTag(0) == L"Name") name = text;
        if (XmlGetTag(0) == L"Count") count = std::stoi(text);
    }
};

// Two things in one document, each written through the nesting operation.
class CPair : public CXmlCtxt {
public:
    CThing first, second;

protected:
    const wchar_t* XmlRootTag() const override { return L"Pair"; }
    void XmlSave() override {
        XmlBeginElement(L"Pair");
        XmlBeginElement(L"First");
        first.XmlSaveTo(*this);
        XmlEndElement();
        XmlBeginElement(L"Second");
        second.XmlSaveTo(*this);
        XmlEndElement();
        XmlEndElement();
    }
};

// A plain container: any root, no fields of its own; nested objects read themselves from it.
class CAny : public CXmlCtxt {};

TEST(XmlCtxt, RoundTripThroughAString) {
    CThing a;
    a.name = L"Gr\u00FC\u00DFe & <tags> \"quoted\"";
    a.count = -12;
    std::wstring xml;
    ASSERT_EQ(a.SaveToXml(xml, 1, 0), 1);
    EXPECT_EQ(xml.find(L'\n'), std::wstring::npos); // fits one settings line
    CThing b;
    ASSERT_EQ(b.LoadFromXml(xml, 1, 0), 1) << WideToUtf8(b.XmlError());
    EXPECT_EQ(b.name, a.name);
    EXPECT_EQ(b.count, -12);
}

TEST(XmlCtxt, RoundTripThroughAFileWithoutTemporaryLeftovers) {
    TempDir dir;
    CThing a;
    a.name = L"file";
    a.count = 3;
    const std::wstring path = Utf8ToWide(dir.File("sub/thing.xml"));
    ASSERT_EQ(a.SaveToXml(path.c_str(), 0, 0), 1);
    CThing b;
    ASSERT_EQ(b.LoadFromXml(path, 0, 0), 1);
    EXPECT_EQ(b.name, L"file");
    EXPECT_EQ(b.count, 3);
    EXPECT_EQ(std::filesystem::directory_iterator(dir.path() / "sub")->path().filename(),
              "thing.xml");
}

TEST(XmlCtxt, EmptyElementGivesEmptyText) {
    CThing b;
    ASSERT_EQ(b.LoadFromXml(L"<Thing><Name/><Count>1</Count></Thing>", 1, 0), 1);
    EXPECT_EQ(b.name, L"");
    EXPECT_EQ(b.count, 1);
}

TEST(XmlCtxt, NotWellFormedIsRefusedAndDataStays) {
    CThing b;
    EXPECT_EQ(b.LoadFromXml(L"<Thing><Name>x</Name><Count>1</Thing>", 1, 0), 0);
    EXPECT_NE(b.XmlError().find(L"not well formed"), std::wstring::npos);
    EXPECT_EQ(b.name, L"start");
    EXPECT_EQ(b.count, 7);
    EXPECT_EQ(b.texts, 0);
}

TEST(XmlCtxt, DocumentOfAnotherKindIsRefused) {
    CThing b;
    EXPECT_EQ(b.LoadFromXml(L"<Other><Name>x</Name></Other>", 1, 0), 0);
    EXPECT_NE(b.XmlError().find(L"another kind"), std::wstring::npos);
    EXPECT_EQ(b.name, L"start");
}

TEST(XmlCtxt, TenMegabyteTextIsRefusedAndDataStays) {
    std::wstring xml = L"<Thing><Name>" + std::wstring(10 << 20, L'x') + L"</Name></Thing>";
    CThing b;
    EXPECT_EQ(b.LoadFromXml(xml, 1, 0), 0);
    EXPECT_EQ(b.name, L"start");
    TempDir dir;
    ASSERT_TRUE(kvrtest::WriteText(dir / "big.xml", WideToUtf8(xml)));
    EXPECT_EQ(b.LoadFromXml(Utf8ToWide(dir.File("big.xml")), 0, 0), 0);
    EXPECT_NE(b.XmlError().find(L"larger than"), std::wstring::npos);
    EXPECT_EQ(b.name, L"start");
}

TEST(XmlCtxt, NestingTenThousandDeepIsRefusedAndDataStays) {
    std::wstring xml = L"<Thing>";
    for (int i = 0; i < 10000; ++i) xml += L"<a>";
    for (int i = 0; i < 10000; ++i) xml += L"</a>";
    xml += L"<Name>deep</Name></Thing>";
    CThing b;
    EXPECT_EQ(b.LoadFromXml(xml, 1, 0), 0);
    EXPECT_NE(b.XmlError().find(L"deeper"), std::wstring::npos);
    EXPECT_EQ(b.name, L"start");
    EXPECT_EQ(b.texts, 0);
}

TEST(XmlCtxt, MissingFileIsRefused) {
    CThing b;
    EXPECT_EQ(b.LoadFromXml(L"/nonexistent/folder/thing.xml", 0, 0), 0);
    EXPECT_NE(b.XmlError().find(L"cannot read"), std::wstring::npos);
}

TEST(XmlCtxt, TagsNameTheElementAndItsParents) {
    class CTags : public CXmlCtxt {
    public:
        std::wstring seen;

    protected:
        void OnXmlNodeText(const wchar_t* text) override {
            seen += XmlGetTag(2) + L"/" + XmlGetTag(1) + L"/" + XmlGetTag(0) + L"=" + text + L";";
        }
    } t;
    ASSERT_EQ(t.LoadFromXml(L"<r><a><b>1</b></a><c>2</c></r>", 1, 0), 1);
    EXPECT_EQ(t.seen, L"r/a/b=1;/r/c=2;");
}

TEST(XmlCtxt, NestedObjectsWriteAndReadTheirOwnBranch) {
    CPair p;
    p.first.name = L"one";
    p.first.count = 1;
    p.second.name = L"two";
    p.second.count = 2;
    std::wstring xml;
    ASSERT_EQ(p.SaveToXml(xml, 1, 0), 1);
    EXPECT_NE(xml.find(L"<First><Thing><Name>one</Name>"), std::wstring::npos) << WideToUtf8(xml);

    // A plain container finds the first thing of the document.
    CAny any;
    ASSERT_EQ(any.LoadFromXml(xml, 1, 0), 1);
    CThing t;
    ASSERT_EQ(t.XmlLoadFrom(any), 1);
    EXPECT_EQ(t.name, L"one");
    EXPECT_EQ(t.count, 1);

    CThing none;
    CAny other;
    ASSERT_EQ(other.LoadFromXml(L"<x><y>1</y></x>", 1, 0), 1);
    EXPECT_EQ(none.XmlLoadFrom(other), 0);
    EXPECT_EQ(none.name, L"start");
}

TEST(XmlCtxt, MappedFieldsRoundTripAndUnknownElementsAreSkipped) {
    class CMapped : public CXmlMapped {
    public:
        int a = 1;
        std::wstring b = L"b";

    protected:
        const wchar_t* XmlRootTag() const override { return L"M"; }
        void XmlMapFields(CFieldMap& map) override {
            map.Int(L"A", a);
            map.Text(L"B", b);
        }
    };
    CMapped m;
    m.a = 5;
    m.b = L"five";
    std::wstring xml;
    ASSERT_EQ(m.SaveToXml(xml, 1, 0), 1);
    EXPECT_EQ(xml, L"<M><A>5</A><B>five</B></M>");
    CMapped n;
    ASSERT_EQ(n.LoadFromXml(L"<M><Z>9</Z><B>bee</B><sub><A>3</A></sub></M>", 1, 0), 1);
    EXPECT_EQ(n.a, 1); // only direct children of the root are fields
    EXPECT_EQ(n.b, L"bee");
    ASSERT_EQ(n.LoadFromXml(xml, 1, 0), 1);
    EXPECT_EQ(n.a, 5);
    EXPECT_EQ(n.b, L"five");
}

} // namespace
