// Compiled-in data resources: blocks of bytes that the library carries inside its own image
// (the built-in grid tables, the Lab identity profile) and finds by name and type.
//
// A resource is registered once, with a name, a type and a block of bytes that stays the
// registrant's (static data in practice): the store keeps a view, never a copy. Names and types
// are texts and are matched regardless of the case of ASCII letters. A numeric name or type, as
// a resource script would give it (type 400, identifier 129), is written as "#" followed by
// the decimal number: "#400", "#129". Leading zeros are not allowed there, so "#400" is the
// only spelling of 400.
//
// Typical use:
//
//     static const unsigned char kTable[] = {...};
//     static const CUserdefResourceRegistrar reg(L"MYTABLE", L"MFT", kTable, sizeof kTable);
//     ...
//     unsigned size = 0;
//     std::unique_ptr<unsigned char[]> copy(GetCopyOfUserdefResource(L"mytable", L"mft", &size));
#pragma once

#include <cstdint>
#include <string>

// A heap copy of the resource `name` of type `type`, which the caller frees with delete[];
// *size receives its length in bytes (when size is not null). Null, with *size 0, when there is
// no such resource or an argument is null. A registered block of 0 bytes gives a 1-byte
// allocation with *size 0, so that the answer still tells "found".
unsigned char* GetCopyOfUserdefResource(const wchar_t* name, const wchar_t* type, unsigned* size);

// Adds a resource to the store. The bytes are not copied: they must stay valid until
// UnregisterUserdefResource. A second registration of the same name and type replaces the
// first. Answers false, and registers nothing, when name or type is null or empty.
bool RegisterUserdefResource(const wchar_t* name, const wchar_t* type, const uint8_t* data,
                             unsigned size);
// Removes the resource; answers whether there was one.
bool UnregisterUserdefResource(const wchar_t* name, const wchar_t* type);

// The text form of a numeric name or type: "#" and the decimal number.
std::wstring UserdefResourceId(unsigned id);

// Registers a resource for the lifetime of the object: at load of the image that holds a
// static instance, until its unload.
class CUserdefResourceRegistrar {
public:
    CUserdefResourceRegistrar(const wchar_t* name, const wchar_t* type, const uint8_t* data,
                              unsigned size);
    ~CUserdefResourceRegistrar();
    CUserdefResourceRegistrar(const CUserdefResourceRegistrar&) = delete;
    CUserdefResourceRegistrar& operator=(const CUserdefResourceRegistrar&) = delete;

private:
    std::wstring m_name;
    std::wstring m_type;
};
