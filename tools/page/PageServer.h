// A server on 127.0.0.1 for a page and for programs. No way leads past its guard: each route says what it gives.
#pragma once

#include "tools/page/PageFile.h"
#include "tools/page/PageGuard.h"

#include <httplib.h>

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace vdipc::page {

/// Routes are added before Listen. Serves on threads of its own until the process ends; never destroyed once it listens.
class PageServer {
public:
    using Handler = std::function<void(const httplib::Request&, httplib::Response&)>;

    /// An open event stream holds a thread, and so does a connection that a browser keeps for later.
    explicit PageServer(std::size_t threads);

    /// What a handler raises is answered with 400 and {"ok": false, "error": its words}, what the guard refuses with 403
    /// and the guard's words and reason.
    void Get(const std::string& pattern, Handler handler);
    void Post(const std::string& pattern, Handler handler);
    /// Beside the files the page finds its token at /token.
    void AddFiles(const std::vector<PageFile>& files);
    /// What a program gets at "/", where a browser gets the page.
    void SetPlainFront(const std::string& text) { plain_front_ = text; }

    /// Returns the port, which is the wanted one or any free one for 0. Raises std::runtime_error where it is taken.
    int Listen(int wanted_port);
    void Stop() { server_.stop(); }

    const PageGuard& Guard() const { return guard_; }

private:
    httplib::Server::Handler Guarded(Access access, Handler handler) const;
    void ServeFile(const httplib::Request& request, httplib::Response& response) const;

    const PageGuard guard_;
    std::map<std::string, PageFile> files_;
    std::string plain_front_;
    httplib::Server server_;
};

}  // namespace vdipc::page
