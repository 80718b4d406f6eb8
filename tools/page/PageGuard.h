// Who may ask a server on loopback, and for what. Every web page that a user has open can send requests to a server on the
// user's own machine; this is what keeps them from moving it or reading from it.
#pragma once

#include <optional>
#include <string>

namespace httplib {
struct Request;
}

namespace vdipc::page {

/// What a request is about to get.
enum class Access {
    Page,   // files of the page, to which a link from elsewhere may lead
    Read,   // what the server knows
    Change  // anything that moves the world behind the server
};

struct Refusal {
    const char* reason;  // "host", "origin" or "token": for programs
    std::string words;   // for people
};

/// Immutable; any thread may ask.
class PageGuard {
public:
    /// With a token of its own that nobody can guess.
    PageGuard();

    /// Known to whoever may read from this server, and so to its own page and not to those of others. The page sends it in
    /// the header "X-Page-Token" with everything that changes something.
    const std::string& Token() const { return token_; }

    /// Null where the request may pass. Programs like curl send no header that only browsers send; they pass without a
    /// token, because a program of this machine needs no page to do harm.
    std::optional<Refusal> Refuse(const httplib::Request& request, Access access) const;

private:
    std::string token_;
};

}  // namespace vdipc::page
