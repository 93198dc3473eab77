// The HTTP side of `kvrcolor ui`: a server on 127.0.0.1 alone, with one page and the JSON
// interface of CUiApi.
//
// Every request must carry the token of this run (query "token" or header "X-KVR-Token"),
// else 401; its Host must be 127.0.0.1:PORT or localhost:PORT and its Origin, when there is
// one, the same with "http://", else 403: another site in the same browser can neither read nor
// drive the page. Uploads are limited to kMaxUploadBytes. The server ends on SIGINT or SIGTERM
// and after the idle time without a request.
#pragma once

#include <cstddef>
#include <string>

struct SUiServerOptions {
    int port = 0;             // 0: any free port
    unsigned idleSeconds = 0; // 0: no idle end
    bool openBrowser = true;
};

// The largest request body, and so the largest upload: profiles are a few megabytes, the images
// of a soft proof may be larger.
inline constexpr size_t kMaxUploadBytes = 64u << 20;

// 32 hexadecimal digits from the system's random source.
std::string NewUiToken();

// Whether the Host and Origin headers name this server on `port`.
bool IsLocalHost(const std::string& host, int port);
bool IsLocalOrigin(const std::string& origin, int port);

// Runs until a signal or the idle time ends it. Prints the address with the token on stdout
// once it listens. Answers the exit code.
int RunUiServer(const SUiServerOptions& options);
