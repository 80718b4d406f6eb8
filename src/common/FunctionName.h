// The qualified name of the function that logs, as "Class::Method", under every compiler.
//
// One compiler's own macro gives that text. The others offer the whole declaration, which is cut to the same text at
// compile time: without return type, arguments, template arguments and the library's namespace. The body of a lambda
// is "Class::Method::<lambda>::operator ()", and an unnamed namespace is "`anonymous-namespace'".
#pragma once

#include <cstddef>
#include <string_view>

namespace vdipc {

/// A name cut out of what the compiler offers, kept in place: no heap, no lifetime to care for.
template <std::size_t Capacity>
struct FixedName {
    char text[Capacity] = {};
    std::size_t size = 0;

    constexpr void Append(std::string_view more) {
        for (const char c : more) {
            text[size++] = c;
        }
    }
    constexpr std::string_view View() const { return {text, size}; }
};

namespace function_name {

inline constexpr std::string_view kOwnNamespace = "vdipc::";
inline constexpr std::string_view kOperator = "operator";
inline constexpr std::string_view kGccLambda = "::<lambda";
inline constexpr std::string_view kClangLambda = "::(anonymous class)::operator()";
inline constexpr std::string_view kLambdaCall = "::<lambda>::operator ()";
inline constexpr std::string_view kUnnamedNamespace = "`anonymous-namespace'";

constexpr bool At(std::string_view text, std::size_t position, std::string_view part) {
    return position <= text.size() && text.substr(position, part.size()) == part;
}

constexpr bool IsNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

constexpr bool IsOperatorAt(std::string_view text, std::size_t position) {
    const std::size_t end = position + kOperator.size();
    return At(text, position, kOperator) && (position == 0 || !IsNameCharacter(text[position - 1])) &&
           (end == text.size() || !IsNameCharacter(text[end]));
}

/// Length of the compiler's words for an unnamed namespace at this position, or 0.
constexpr std::size_t UnnamedNamespaceAt(std::string_view text, std::size_t position) {
    for (const std::string_view words :
         {std::string_view("{anonymous}"), std::string_view("(anonymous namespace)")}) {
        if (At(text, position, words)) {
            return words.size();
        }
    }
    return 0;
}

/// Position behind the bracket that closes the one at `open`.
constexpr std::size_t BehindClosing(std::string_view text, std::size_t open, char opening, char closing) {
    std::size_t depth = 0;
    for (std::size_t i = open; i < text.size(); ++i) {
        if (text[i] == opening) {
            ++depth;
        } else if (text[i] == closing && --depth == 0) {
            return i + 1;
        }
    }
    return text.size();
}

/// Position behind " const", " &" and the like, which stand between an argument list and what follows.
constexpr std::size_t BehindQualifiers(std::string_view text, std::size_t position) {
    while (At(text, position, " ") && !At(text, position, " [")) {
        const std::size_t end = text.find_first_of(" :", position + 1);
        position = end < text.size() ? end : text.size();
    }
    return position;
}

/// Where the qualified name begins, behind "static", "virtual" and the return type.
constexpr std::size_t BeginOfName(std::string_view text) {
    std::size_t begin = 0;
    for (std::size_t i = 0; i < text.size() && !IsOperatorAt(text, i); ++i) {
        if (const std::size_t unnamed = UnnamedNamespaceAt(text, i)) {
            i += unnamed - 1;
        } else if (text[i] == '<') {
            i = BehindClosing(text, i, '<', '>') - 1;
        } else if (At(text, i, "decltype(")) {
            i = BehindClosing(text, i, '(', ')') - 1;
        } else if (text[i] == ' ' || text[i] == '*' || text[i] == '&') {
            begin = i + 1;
        } else if (text[i] == '(') {
            break;
        }
    }
    return begin;
}

/// Appends the name that begins here, and returns where its argument list begins.
template <std::size_t Capacity>
constexpr std::size_t AppendName(FixedName<Capacity>& result, std::string_view text, std::size_t begin) {
    for (std::size_t i = begin; i < text.size(); ++i) {
        if (const std::size_t unnamed = UnnamedNamespaceAt(text, i)) {
            result.Append(kUnnamedNamespace);
            i += unnamed - 1;
        } else if (IsOperatorAt(text, i)) {
            // The name of an operator may hold brackets itself.
            const std::size_t symbol = i + kOperator.size();
            const std::size_t end = text.find('(', At(text, symbol, "()") ? symbol + 2 : symbol);
            result.Append(text.substr(i, end < text.size() ? end - i : text.size() - i));
            return end < text.size() ? end : text.size();
        } else if (text[i] == '<') {
            i = BehindClosing(text, i, '<', '>') - 1;
        } else if (text[i] == '(' || text[i] == ' ') {
            return i;
        } else {
            result.Append(text.substr(i, 1));
        }
    }
    return text.size();
}

/// From "virtual bool vdipc::Class::Method(int) const" to "Class::Method". A name without arguments stands as it is.
template <std::size_t Size>
consteval auto Qualified(const char (&pretty)[Size]) {
    FixedName<Size * 2> result;
    const std::string_view whole(pretty, Size - 1);
    std::size_t next = BeginOfName(whole);
    next += At(whole, next, kOwnNamespace) ? kOwnNamespace.size() : 0;
    while (true) {
        next = AppendName(result, whole, next);
        next = At(whole, next, "(") ? BehindClosing(whole, next, '(', ')') : whole.size();
        next = BehindQualifiers(whole, next);
        // What is declared inside a function stands behind the function's arguments.
        while (At(whole, next, kGccLambda) || At(whole, next, kClangLambda)) {
            result.Append(kLambdaCall);
            next = At(whole, next, kGccLambda) ? BehindClosing(whole, next + 2, '<', '>')
                                               : BehindClosing(whole, next + kClangLambda.size(), '(', ')');
            next = BehindQualifiers(whole, next);
        }
        if (!At(whole, next, "::")) {
            return result;
        }
        result.Append("::");
        next += 2;
    }
}

constexpr std::string_view WithoutOwnNamespace(std::string_view name) {
    return At(name, 0, kOwnNamespace) ? name.substr(kOwnNamespace.size()) : name;
}

}  // namespace function_name
}  // namespace vdipc

// The text lives until the end of the full expression.
#if defined(_MSC_VER) && !defined(__clang__)
// The compiler's macro is "vdipc::Class::Method" already.
#define VD_FUNCTION_NAME ::vdipc::function_name::WithoutOwnNamespace(__FUNCTION__)
#else
#define VD_FUNCTION_NAME ::vdipc::function_name::Qualified(__PRETTY_FUNCTION__).View()
#endif
