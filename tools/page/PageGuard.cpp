#include "tools/page/PageGuard.h"

#include <httplib.h>

#include <algorithm>
#include <cctype>
#include <random>

namespace vdipc::page {
namespace {

std::string RandomToken() {
    std::random_device device;
    std::string token;
    for (int i = 0; i < 32; ++i) {
        token.push_back("0123456789abcdef"[device() & 15U]);
    }
    return token;
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

/// "127.0.0.1" or "localhost", with any port: a forwarded one differs from the server's own.
bool IsLoopbackName(const std::string& host) {
    const std::size_t colon = host.find(':');
    const std::string name = Lower(host.substr(0, colon));
    const std::string port = colon == std::string::npos ? "0" : host.substr(colon + 1);
    return (name == "127.0.0.1" || name == "localhost") && !port.empty() && port.size() <= 5 &&
           port.find_first_not_of("0123456789") == std::string::npos;
}

/// Browsers send "Origin" with everything but plain reading, and "Sec-Fetch-Site" with everything; no page can take them
/// away. The other two are for browsers that are too old for both. (Node's fetch sends "Sec-Fetch-Mode", and is none.)
bool ComesFromBrowser(const httplib::Request& request) {
    return request.has_header("Origin") || request.has_header("Sec-Fetch-Site") ||
           request.has_header("Referer") || request.has_header("Cookie");
}

/// Takes as long for a wrong text as for a right one of its length.
bool SameText(const std::string& one, const std::string& other) {
    unsigned difference = one.size() == other.size() ? 0U : 1U;
    for (std::size_t i = 0; i < std::min(one.size(), other.size()); ++i) {
        difference |= static_cast<unsigned>(one[i] != other[i]);
    }
    return difference == 0;
}

}  // namespace

PageGuard::PageGuard() : token_(RandomToken()) {}

std::optional<Refusal> PageGuard::Refuse(const httplib::Request& request, Access access) const {
    // A name of somebody's own that leads to 127.0.0.1 makes that somebody's page one of this server, for the browser.
    const std::string host = request.get_header_value("Host");
    if (request.get_header_value_count("Host") != 1 || !IsLoopbackName(host)) {
        return Refusal{"host", "this server answers to the names 127.0.0.1 and localhost alone, not to '" +
                                   host + "'"};
    }
    const std::string origin = request.get_header_value("Origin");
    const bool own_origin = request.get_header_value_count("Origin") == 1 && origin == "http://" + host;
    if (request.has_header("Origin") && !own_origin) {
        return Refusal{"origin", "pages of '" + origin + "' have no business here"};
    }
    const std::string site = request.get_header_value("Sec-Fetch-Site");
    const bool foreign = !site.empty() && site != "same-origin" && site != "none";
    const bool navigates = request.get_header_value("Sec-Fetch-Mode") == "navigate";
    if (foreign && !(access == Access::Page && navigates)) {
        return Refusal{"origin", "requests of another page have no business here"};
    }
    if (access == Access::Change && ComesFromBrowser(request)) {
        if (!own_origin) {
            return Refusal{"origin", "a browser's request must name its origin"};
        }
        if (request.get_header_value_count("X-Page-Token") != 1 ||
            !SameText(request.get_header_value("X-Page-Token"), token_)) {
            return Refusal{"token",
                           "the page is one of an earlier run of this server, or not its own; reload it"};
        }
    }
    return std::nullopt;
}

}  // namespace vdipc::page
