// The page services that free functions use when they have to ask the user or tell them
// something (ShCopyFile, ShDeleteFile, ReportIccError): the services of the page whose code is
// running. A page model makes its own services current while it handles a user action; other
// callers set them with a CScopedPageServices. Pages run on the interface thread only, and so
// does everything that sets or uses the current services: there is one for the process.
#pragma once

class IPageServices;

// The current services, null when none are set.
IPageServices* CurrentPageServices();

// Makes `services` current for the lifetime of the object and restores the previous ones
// after. A null `services` leaves the current ones in place, so that a page without services
// inside a scope of its caller still reaches the caller's.
class CScopedPageServices {
public:
    explicit CScopedPageServices(IPageServices* services);
    ~CScopedPageServices();
    CScopedPageServices(const CScopedPageServices&) = delete;
    CScopedPageServices& operator=(const CScopedPageServices&) = delete;

private:
    IPageServices* m_previous;
};
