#include "ui/UiServer.h"

#include <httplib.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <thread>

#include "CliError.h"
#include "ui/SafeName.h"
#include "ui/UiApi.h"
#include "ui/UiAssets.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

std::string Hex(const unsigned char* bytes, size_t n) {
    static const char digits[] = "0123456789abcdef";
    std::string s;
    for (size_t i = 0; i < n; ++i) {
        s += digits[bytes[i] >> 4];
        s += digits[bytes[i] & 15];
    }
    return s;
}

// Compares without stopping at the first difference, so that the time of an answer tells
// nothing about the token.
bool SameToken(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    unsigned char diff = 0;
    for (size_t i = 0; i < a.size(); ++i) diff |= static_cast<unsigned char>(a[i] ^ b[i]);
    return diff == 0;
}

void Json(httplib::Response& res, int status, const nlohmann::json& body) {
    res.status = status;
    res.set_content(body.dump(), "application/json; charset=utf-8");
}

void Fail(httplib::Response& res, int status, const std::string& message) {
    Json(res, status, {{"error", message}});
}

// The body of a JSON request; 400 when it is none.
nlohmann::json Body(const httplib::Request& req) {
    nlohmann::json body = nlohmann::json::parse(req.body, nullptr, false);
    if (body.is_discarded() || !body.is_object())
        throw UiError(400, "the request body is no JSON object");
    return body;
}

// A text field of a multipart form; empty if missing.
std::string Field(const httplib::Request& req, const char* name) {
    return req.has_file(name) ? req.get_file_value(name).content : std::string();
}

// The upload of a multipart form under its bare name: 400 (and nothing written) for a name that
// leaves its folder.
std::optional<SUpload> Upload(const httplib::Request& req, const char* field) {
    if (!req.has_file(field)) return std::nullopt;
    const httplib::MultipartFormData& file = req.get_file_value(field);
    const std::optional<std::string> name = BareUploadName(file.filename);
    if (!name) throw UiError(400, "the file name \"" + file.filename + "\" is refused");
    return SUpload{*name, file.content};
}

std::string ContentDisposition(const std::string& fileName) {
    std::string safe;
    for (char c : fileName)
        safe += (c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20) ? '_' : c;
    return "attachment; filename=\"" + safe + "\"";
}

void OpenBrowser(const std::string& url) {
    pid_t pid;
    const char* argv[] = {"xdg-open", url.c_str(), nullptr};
    if (posix_spawnp(&pid, "xdg-open", nullptr, nullptr, const_cast<char* const*>(argv), environ) !=
        0)
        std::fprintf(stderr, "kvrcolor ui: no browser could be started; open the address above\n");
    // Not waited for: the browser may outlive this program. The child is reaped at exit.
}

} // namespace

std::string NewUiToken() {
    unsigned char bytes[16];
    std::ifstream random("/dev/urandom", std::ios::binary);
    if (!random.read(reinterpret_cast<char*>(bytes), sizeof bytes))
        throw CliError(kExitInternal, "/dev/urandom cannot be read");
    return Hex(bytes, sizeof bytes);
}

bool IsLocalHost(const std::string& host, int port) {
    const std::string p = ":" + std::to_string(port);
    return host == "127.0.0.1" + p || host == "localhost" + p;
}

bool IsLocalOrigin(const std::string& origin, int port) {
    const std::string prefix = "http://";
    return origin.compare(0, prefix.size(), prefix) == 0 &&
           IsLocalHost(origin.substr(prefix.size()), port);
}

int RunUiServer(const SUiServerOptions& options) {
    // SIGINT and SIGTERM are taken by the watcher below; the server's threads, made later,
    // inherit the mask.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    const std::string token = NewUiToken();
    httplib::Server server;
    server.set_payload_max_length(kMaxUploadBytes);
    int port = options.port;
    if (port == 0) {
        port = server.bind_to_any_port("127.0.0.1");
        if (port <= 0) throw CliError(kExitOutput, "no port on 127.0.0.1 can be opened");
    } else if (!server.bind_to_port("127.0.0.1", port)) {
        throw CliError(kExitOutput, "port " + std::to_string(port) + " on 127.0.0.1 is taken");
    }

    std::atomic<Clock::rep> lastRequest{Clock::now().time_since_epoch().count()};
    server.set_pre_routing_handler([&](const httplib::Request& req, httplib::Response& res) {
        lastRequest = Clock::now().time_since_epoch().count();
        if (!IsLocalHost(req.get_header_value("Host"), port) ||
            (req.has_header("Origin") && !IsLocalOrigin(req.get_header_value("Origin"), port))) {
            Fail(res, 403, "this server answers its own page on this computer only");
            return httplib::Server::HandlerResponse::Handled;
        }
        const std::string given = req.has_param("token") ? req.get_param_value("token")
                                                         : req.get_header_value("X-KVR-Token");
        if (!SameToken(given, token)) {
            Fail(res, 401, "the address lacks this run's token: use the one kvrcolor ui printed");
            return httplib::Server::HandlerResponse::Handled;
        }
        res.set_header("Cache-Control", "no-store");
        res.set_header("X-Content-Type-Options", "nosniff");
        res.set_header("Content-Security-Policy",
                       "default-src 'none'; script-src 'self'; style-src 'self'; "
                       "img-src 'self' blob:; connect-src 'self'; form-action 'none'; "
                       "frame-ancestors 'none'");
        return httplib::Server::HandlerResponse::Unhandled;
    });

    // One person, one page: the interface's calls run one after the other.
    CUiApi api;
    std::mutex apiMutex;
    const auto route = [&](auto&& handler) {
        return [&, handler](const httplib::Request& req, httplib::Response& res) {
            std::lock_guard<std::mutex> lock(apiMutex);
            try {
                handler(req, res);
            } catch (const UiError& e) {
                Fail(res, e.status(), e.what());
            } catch (const CliError& e) {
                Fail(res, e.code() == kExitInternal || e.code() == kExitOutput ? 500 : 400,
                     e.what());
            } catch (const std::exception& e) {
                Fail(res, 500, std::string("internal error: ") + e.what());
            }
        };
    };
    const auto asset = [&](const char* name, const char* type) {
        return route([name, type, &token](const httplib::Request&, httplib::Response& res) {
            std::string text(UiAsset(name));
            for (size_t at; (at = text.find("{{TOKEN}}")) != std::string::npos;)
                text.replace(at, 9, token);
            res.set_content(text, type);
        });
    };
    server.Get("/", asset("index.html", "text/html; charset=utf-8"));
    server.Get("/app.js", asset("app.js", "text/javascript; charset=utf-8"));
    server.Get("/style.css", asset("style.css", "text/css; charset=utf-8"));

    server.Get("/api/presets", route([&](const httplib::Request&, httplib::Response& res) {
                   Json(res, 200, api.Presets());
               }));
    server.Post("/api/preset", route([&](const httplib::Request& req, httplib::Response& res) {
                    Json(res, 200, api.PresetAction(Body(req)));
                }));
    server.Post("/api/page/open", route([&](const httplib::Request& req, httplib::Response& res) {
                    Json(res, 200, api.OpenPage(Body(req)));
                }));
    // JSON, or a multipart form with "request" (the JSON) and "file" (what a file choice of the
    // page gets).
    server.Post("/api/page/change", route([&](const httplib::Request& req, httplib::Response& res) {
                    if (!req.is_multipart_form_data()) {
                        Json(res, 200, api.ChangePage(Body(req), nullptr));
                        return;
                    }
                    const std::optional<SUpload> file = Upload(req, "file");
                    const nlohmann::json body =
                        nlohmann::json::parse(Field(req, "request"), nullptr, false);
                    if (body.is_discarded() || !body.is_object())
                        throw UiError(400, "the form lacks its request");
                    Json(res, 200, api.ChangePage(body, file ? &*file : nullptr));
                }));
    server.Post("/api/page/save", route([&](const httplib::Request& req, httplib::Response& res) {
                    Json(res, 200, api.SavePage(Body(req)));
                }));
    server.Post("/api/page/close", route([&](const httplib::Request&, httplib::Response& res) {
                    Json(res, 200, api.ClosePage());
                }));
    server.Get("/api/export", route([&](const httplib::Request& req, httplib::Response& res) {
                   const SFileReply zip =
                       api.Export(req.get_param_value("kind"), req.get_param_value("name"),
                                  req.get_param_value("profiles") != "0");
                   res.set_header("Content-Disposition", ContentDisposition(zip.fileName));
                   res.set_content(zip.bytes, zip.contentType);
               }));
    server.Post("/api/import", route([&](const httplib::Request& req, httplib::Response& res) {
                    const std::optional<SUpload> file = Upload(req, "file");
                    if (!file) throw UiError(400, "no archive was sent");
                    Json(res, 200, api.Import(*file, Field(req, "replace") == "1"));
                }));
    server.Get("/api/profiles", route([&](const httplib::Request&, httplib::Response& res) {
                   Json(res, 200, api.Profiles());
               }));
    server.Get("/api/profile/info", route([&](const httplib::Request& req, httplib::Response& res) {
                   res.set_content(api.ProfileText(req.get_param_value("path"), false),
                                   "text/plain; charset=utf-8");
               }));
    server.Get("/api/profile/dump", route([&](const httplib::Request& req, httplib::Response& res) {
                   res.set_content(api.ProfileText(req.get_param_value("path"), true),
                                   "text/plain; charset=utf-8");
               }));
    server.Post("/api/proof", route([&](const httplib::Request& req, httplib::Response& res) {
                    const std::optional<SUpload> image = Upload(req, "image");
                    if (!image) throw UiError(400, "no image was sent");
                    const SFileReply png = api.Proof(*image, Field(req, "printer"));
                    res.set_content(png.bytes, png.contentType);
                }));

    const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/?token=" + token;
    std::printf("kvrcolor ui: %s\n", url.c_str());
    std::fflush(stdout);
    if (options.openBrowser) OpenBrowser(url);

    std::atomic<bool> stopped{false};
    int reason = 0; // the signal that ended the run, if one did
    std::thread watcher([&] {
        const timespec tick{0, 200'000'000};
        while (!stopped) {
            const int sig = sigtimedwait(&signals, nullptr, &tick);
            if (sig == SIGINT || sig == SIGTERM) {
                reason = sig;
                break;
            }
            const auto idle = Clock::now() - Clock::time_point(Clock::duration(lastRequest.load()));
            if (options.idleSeconds && idle > std::chrono::seconds(options.idleSeconds)) {
                std::fprintf(stderr, "kvrcolor ui: no request for %u s; ending\n",
                             options.idleSeconds);
                break;
            }
        }
        // A stop before the server runs is lost: repeat it until the server has ended.
        while (!stopped) {
            server.stop();
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    });
    server.listen_after_bind();
    stopped = true;
    watcher.join();
    if (reason) std::fprintf(stderr, "kvrcolor ui: ended by signal %d\n", reason);
    return kExitOk;
}
