#include "pages/PageServicesScope.h"

namespace {
// One for the process: pages run on the interface thread only. (Thread-local storage would make
// the library depend on the dynamic loader's TLS entry point.)
IPageServices* g_current = nullptr;
} // namespace

IPageServices* CurrentPageServices() {
    return g_current;
}

CScopedPageServices::CScopedPageServices(IPageServices* services) : m_previous(g_current) {
    if (services) g_current = services;
}

CScopedPageServices::~CScopedPageServices() {
    g_current = m_previous;
}
