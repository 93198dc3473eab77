#include "base/Resource.h"

#include <cstring>
#include <map>
#include <mutex>
#include <utility>

namespace {

// Case-folded key of a name or type: ASCII letters in upper case, all else as given.
std::wstring Fold(const wchar_t* text) {
    std::wstring s(text);
    for (wchar_t& c : s)
        if (c >= L'a' && c <= L'z') c = static_cast<wchar_t>(c - L'a' + L'A');
    return s;
}

struct Block {
    const uint8_t* data;
    unsigned size;
};

// The store. Registrations run from static constructors of this and other images, so the
// store is made on first use; lookups may come from any thread.
struct Store {
    std::mutex lock;
    std::map<std::pair<std::wstring, std::wstring>, Block> blocks; // (type, name) -> bytes
};

Store& TheStore() {
    static Store store;
    return store;
}

} // namespace

unsigned char* GetCopyOfUserdefResource(const wchar_t* name, const wchar_t* type, unsigned* size) {
    if (size) *size = 0;
    if (!name || !type) return nullptr;
    Store& store = TheStore();
    std::lock_guard<std::mutex> guard(store.lock);
    auto it = store.blocks.find({Fold(type), Fold(name)});
    if (it == store.blocks.end()) return nullptr;
    const Block& b = it->second;
    auto* copy = new unsigned char[b.size ? b.size : 1];
    if (b.size) std::memcpy(copy, b.data, b.size);
    if (size) *size = b.size;
    return copy;
}

bool RegisterUserdefResource(const wchar_t* name, const wchar_t* type, const uint8_t* data,
                             unsigned size) {
    if (!name || !type || !*name || !*type || (!data && size)) return false;
    Store& store = TheStore();
    std::lock_guard<std::mutex> guard(store.lock);
    store.blocks[{Fold(type), Fold(name)}] = Block{data, size};
    return true;
}

bool UnregisterUserdefResource(const wchar_t* name, const wchar_t* type) {
    if (!name || !type) return false;
    Store& store = TheStore();
    std::lock_guard<std::mutex> guard(store.lock);
    return store.blocks.erase({Fold(type), Fold(name)}) != 0;
}

std::wstring UserdefResourceId(unsigned id) {
    return L"#" + std::to_wstring(id);
}

CUserdefResourceRegistrar::CUserdefResourceRegistrar(const wchar_t* name, const wchar_t* type,
                                                     const uint8_t* data, unsigned size)
    : m_name(name ? name : L""), m_type(type ? type : L"") {
    RegisterUserdefResource(name, type, data, size);
}

CUserdefResourceRegistrar::~CUserdefResourceRegistrar() {
    UnregisterUserdefResource(m_name.c_str(), m_type.c_str());
}
