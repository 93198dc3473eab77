#include "pages/PageServicesScope.h"

namespace {
thread_local IPageServices* t_current = nullptr;
}

IPageServices* CurrentPageServices() {
    return t_current;
}

CScopedPageServices::CScopedPageServices(IPageServices* services) : m_previous(t_current) {
    if (services) t_current = services;
}

CScopedPageServices::~CScopedPageServices() {
    t_current = m_previous;
}
