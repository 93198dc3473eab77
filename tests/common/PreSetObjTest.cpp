#include "common/PreSetObj.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "base/WideString.h"
#include "common/XmlCtxt.h"
#include "support/Files.h"
#include "support/TempDir.h"

namespace {

namespace fs = std::filesystem;
using kvrtest::TempDir;

// A preset kind of one text, enough to drive the framework.
class CNote : public CXmlCtxt {
public:
    std::wstring text = L"default";

protected:
    const wchar_t* XmlRootTag() const override { return L"Note"; }
    void XmlSave() override {
        XmlBeginElement(L"Note");
        XmlSetText(text);
        XmlEndElement();
    }
    void OnXmlNodeText(const wchar_t* t) override { text = t; }
};

class CNotePSO : public CPreSetObj {
public:
    CNote data;
    void CopyDataFrom(IPreSetObj* o) override { data.text = static_cast<CNotePSO*>(o)->data.text; }
    int LoadFromName(const wchar_t* p) override { return Done(data.LoadFromXml(p, 0, 0)); }
    int LoadFromString(const wchar_t* x) override { return Done(data.LoadFromXml(x, 1, 0)); }
    int SaveToName(const wchar_t* p) override { return data.SaveToXml(p, 0, 0); }
    int SaveToString(std::wstring& x) override { return data.SaveToXml(x, 1, 0); }
    void SaveToXmlCtxt(CXmlCtxt& c) override { data.XmlSaveTo(c); }
    int LoadFromXmlCtxt(CXmlCtxt& c) override { return data.XmlLoadFrom(c); }
    std::wstring GetDescription() override { return {}; }
    CPSOPropPg* CreatePSOPropPg(int, const wchar_t*) override { return nullptr; }
    void DataToPSOPropPg(CPSOPropPg*) override {}
    void DataFromPSOPropPg(CPSOPropPg*) override {}
    int DataMatch(IPreSetObj* o) override {
        return data.text == static_cast<CNotePSO*>(o)->data.text;
    }
    void OnExportTo(IKvImpExArch*) override {}
    void CheckExportOptions(IPSOExportDialog*) override {}

private:
    int Done(int ok) {
        SetLastError(ok ? L"" : data.XmlError());
        return ok;
    }
};

class CNoteFactory : public CPSOFactoryCustomized {
public:
    explicit CNoteFactory(std::wstring folder)
        : CPSOFactoryCustomized(GetStdCustomizedAccessName()), m_folder(std::move(folder)) {
        AddSpecial(L"<none>", L"");
        Initialize(L"<customized>");
        AddSpecial(L"<user defined>", L"$");
    }
    IPreSetObj* CreatePSO() override { return new CNotePSO; }
    IPreSetObjStore* CreatePSOStore() override {
        return IPreSetObjStore::CreateFileBased(this, m_folder.c_str(), L"Note");
    }
    void OnRenamed(const wchar_t* o, const wchar_t* n) override {
        renamed += std::wstring(o) + L"->" + n + L";";
    }
    void OnDeleted(const wchar_t* n) override { deleted += std::wstring(n) + L";"; }
    void OnLoadCustomized(IPreSetObj* pso) override { pso->CopyDataFrom(pPSOCustomized()); }
    void OnSaveCustomized(IPreSetObj* pso) override { pPSOCustomized()->CopyDataFrom(pso); }
    void OnLoadFailed(IPreSetObj* pso, const wchar_t* name) override {
        failed += std::wstring(name) + L";";
        CPSOFactoryCustomized::OnLoadFailed(pso, name);
    }

    std::wstring renamed, deleted, failed;

private:
    std::wstring m_folder;
};

struct StoreFixture : ::testing::Test {
    TempDir dir{"kvr-store"};
    std::wstring folder = Utf8ToWide(dir.File("presets"));
    CNoteFactory factory{folder};
    std::unique_ptr<IPreSetObjStore> store{factory.CreatePSOStore()};
    CPreSetObjStoreFile& files() { return *static_cast<CPreSetObjStoreFile*>(store.get()); }

    void Save(const wchar_t* name, const wchar_t* text) {
        CNotePSO n;
        n.data.text = text;
        ASSERT_EQ(store->Save(name, &n), 1) << WideToUtf8(store->GetLastError());
    }
    std::wstring Loaded(const wchar_t* name) {
        CNotePSO n;
        if (!store->Load(name, &n)) return L"(failed)";
        return n.data.text;
    }
};

TEST(PreSetObjFactory, SpecialNamesLookBothWaysAndIterateInOrder) {
    CNoteFactory f(L"/nowhere");
    std::wstring s;
    ASSERT_EQ(f.LookupSpecialName(L"<customized>", s), 1);
    EXPECT_EQ(s, CPSOFactoryCustomized::GetStdCustomizedAccessName());
    ASSERT_EQ(f.LookupSpecialName(L"<none>", s), 1);
    EXPECT_EQ(s, L"");
    ASSERT_EQ(f.LookupFriendlyName(L"$", s), 1);
    EXPECT_EQ(s, L"<user defined>");
    EXPECT_EQ(f.LookupSpecialName(L"plain", s), 0);
    EXPECT_EQ(f.LookupFriendlyName(L"plain", s), 0);

    std::unique_ptr<INameIterator> it(f.CreateSpecialNameIterator());
    std::wstring friendly, access, all;
    while (it->Next(friendly, access)) all += friendly + L"=" + access + L";";
    EXPECT_EQ(all, L"<none>=;<customized>=*;<user defined>=$;");
}

TEST(PreSetObjFactory, CustomizedPresetLoadsAndSavesThroughItsObject) {
    CNoteFactory f(L"/nowhere");
    ASSERT_NE(f.pPSOCustomized(), nullptr);
    CNotePSO n;
    n.data.text = L"mine";
    EXPECT_EQ(f.CanEditSpecialName(L"*"), 1);
    EXPECT_EQ(f.CanEditSpecialName(L"$"), 0); // the kind decides on its own access names
    ASSERT_EQ(f.SaveSpecial(&n, L"*"), 1);
    CNotePSO m;
    ASSERT_EQ(f.LoadSpecial(&m, L"*"), 1);
    EXPECT_EQ(m.data.text, L"mine");
    EXPECT_EQ(f.LoadSpecial(&m, L""), 0);
}

TEST(PreSetObjFactory, NewNamesMustBeFileNamesAndNotSpecial) {
    CNoteFactory f(L"/nowhere");
    EXPECT_EQ(f.AllowNew(L"Photo paper"), 1);
    EXPECT_EQ(f.AllowNew(L""), 0);
    EXPECT_EQ(f.AllowNew(L"<customized>"), 0);
    EXPECT_EQ(f.AllowNew(L"*"), 0);
    EXPECT_EQ(f.AllowNew(L"$"), 0);
    EXPECT_EQ(f.AllowNew(L"a/b"), 0);
    EXPECT_EQ(f.AllowNew(L"..\\up"), 0);
    EXPECT_EQ(f.AllowNew(L".hidden"), 0);
    EXPECT_EQ(f.AllowNew(L"tab\there"), 0);
}

TEST_F(StoreFixture, OneFilePerPresetWithTheKindsExtension) {
    Save(L"B", L"bee");
    Save(L"A", L"ay");
    EXPECT_EQ(files().ItemNameToPathName(L"A"), folder + L"/A.Note");
    EXPECT_TRUE(fs::is_regular_file(dir.path() / "presets" / "A.Note"));
    kvrtest::WriteText(dir.path() / "presets" / "other.txt", "x"); // not of this kind
    EXPECT_EQ(store->GetNames(), (std::vector<std::wstring>{L"A", L"B"}));
    EXPECT_EQ(Loaded(L"A"), L"ay");
    EXPECT_EQ(Loaded(L"B"), L"bee");
    EXPECT_EQ(store->Exists(L"A"), 1);
    EXPECT_EQ(store->Exists(L"C"), 0);
}

TEST_F(StoreFixture, RenameAndDeleteReachTheFactory) {
    Save(L"Old", L"x");
    ASSERT_EQ(store->Rename(L"Old", L"New"), 1);
    EXPECT_EQ(factory.renamed, L"Old->New;");
    EXPECT_EQ(store->GetNames(), (std::vector<std::wstring>{L"New"}));
    EXPECT_EQ(Loaded(L"New"), L"x");
    ASSERT_EQ(store->Delete(L"New"), 1);
    EXPECT_EQ(factory.deleted, L"New;");
    EXPECT_TRUE(store->GetNames().empty());
}

TEST_F(StoreFixture, RenameOntoAnExistingPresetIsRefused) {
    Save(L"One", L"1");
    Save(L"Two", L"2");
    EXPECT_EQ(store->Rename(L"One", L"Two"), 0);
    EXPECT_NE(store->GetLastError().find(L"exists already"), std::wstring::npos);
    EXPECT_EQ(Loaded(L"Two"), L"2");
    EXPECT_EQ(factory.renamed, L"");
    EXPECT_EQ(store->Rename(L"Missing", L"Three"), 0);
    EXPECT_EQ(store->Delete(L"Missing"), 0);
    EXPECT_EQ(factory.deleted, L"");
}

TEST_F(StoreFixture, NamesThatLeaveTheFolderAreRefused) {
    CNotePSO n;
    EXPECT_EQ(store->Save(L"../escape", &n), 0);
    EXPECT_EQ(store->Save(L"/abs", &n), 0);
    EXPECT_EQ(store->Rename(L"x", L"../y"), 0);
    EXPECT_FALSE(fs::exists(dir.path() / "escape.Note"));
}

TEST_F(StoreFixture, LoadResolvesSpecialNamesThroughTheFactory) {
    CNotePSO n;
    n.data.text = L"customized";
    factory.OnSaveCustomized(&n);
    EXPECT_EQ(Loaded(L"*"), L"customized");
    Save(L"$", L"user defined");
    EXPECT_EQ(Loaded(L"$"), L"user defined");
}

TEST_F(StoreFixture, FailedLoadTellsTheFactoryAndFallsBackToTheCustomizedData) {
    CNotePSO custom;
    custom.data.text = L"safe";
    factory.OnSaveCustomized(&custom);
    fs::create_directories(dir.path() / "presets");
    ASSERT_TRUE(kvrtest::WriteText(dir.path() / "presets" / "Broken.Note", "<Note>unclosed"));
    CNotePSO n;
    n.data.text = L"before";
    EXPECT_EQ(store->Load(L"Broken", &n), 0);
    EXPECT_NE(store->GetLastError().find(L"not well formed"), std::wstring::npos);
    EXPECT_EQ(factory.failed, L"Broken;");
    EXPECT_EQ(n.data.text, L"safe");
    EXPECT_EQ(store->Load(L"Absent", &n), 0);
    EXPECT_EQ(factory.failed, L"Broken;Absent;");
}

} // namespace
