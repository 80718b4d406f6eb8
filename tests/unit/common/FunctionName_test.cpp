#include "common/FunctionName.h"

#include <functional>
#include <map>
#include <regex>
#include <string>

#include <gtest/gtest.h>

namespace vdipc {

struct NameHost {
    std::string constructed;
    std::string* destroyed = nullptr;

    NameHost() { constructed = VD_FUNCTION_NAME; }
    explicit NameHost(std::string* at_end) : destroyed(at_end) {}
    NameHost(const NameHost&) = delete;
    NameHost& operator=(const NameHost&) = delete;
    virtual ~NameHost() {
        if (destroyed != nullptr) {
            *destroyed = VD_FUNCTION_NAME;
        }
    }

    virtual std::string Method(int) { return std::string(VD_FUNCTION_NAME); }
    std::string Const(const std::string&) const { return std::string(VD_FUNCTION_NAME); }
    static std::string Static(int (*)(int)) { return std::string(VD_FUNCTION_NAME); }
    std::string NoThrow() noexcept { return std::string(VD_FUNCTION_NAME); }
    std::map<std::string, std::function<void(int)>> ManyBrackets(std::function<bool(int)>,
                                                                 std::string& name) {
        name = VD_FUNCTION_NAME;
        return {};
    }
    bool operator==(int) const {
        last = VD_FUNCTION_NAME;
        return true;
    }
    template <typename T>
    std::string Template(T) const {
        return std::string(VD_FUNCTION_NAME);
    }
    std::function<std::string()> Lambda(const std::string& text) const {
        return [text, this] { return constructed.empty() ? text : std::string(VD_FUNCTION_NAME); };
    }
    std::string NestedLambda() const {
        const auto outer = [](int) { return [] { return std::string(VD_FUNCTION_NAME); }(); };
        return outer(1);
    }
    static inline std::string last;
};

namespace name_inner {
std::string Free() {
    return std::string(VD_FUNCTION_NAME);
}
}  // namespace name_inner

namespace {

std::string Hidden() {
    return std::string(VD_FUNCTION_NAME);
}

using function_name::Qualified;

// The declarations as two compilers write them.
static_assert(Qualified("virtual bool vdipc::Class::Method(int)").View() == "Class::Method");
static_assert(Qualified("vdipc::Class::Class(std::function<void(int)>)").View() == "Class::Class");
static_assert(Qualified("virtual vdipc::Class::~Class()").View() == "Class::~Class");
static_assert(Qualified("static const char* vdipc::Class::Text(int (*)(int))").View() == "Class::Text");
static_assert(Qualified("const char *vdipc::Class::Text(int (*)(int))").View() == "Class::Text");
static_assert(Qualified("std::map<std::__cxx11::basic_string<char>, int> vdipc::Class::Map() const").View() ==
              "Class::Map");
static_assert(Qualified("decltype(auto) vdipc::Class::Any()").View() == "Class::Any");
static_assert(Qualified("bool vdipc::Class::operator()(int) const").View() == "Class::operator()");
static_assert(Qualified("bool vdipc::Class::operator<(const vdipc::Class&) const").View() ==
              "Class::operator<");
static_assert(Qualified("vdipc::Class::operator bool() const").View() == "Class::operator bool");
static_assert(Qualified("bool vdipc::Class::operator bool() const").View() == "Class::operator bool");
static_assert(Qualified("void vdipc::Class<T>::Method(T) [with T = int]").View() == "Class::Method");
static_assert(Qualified("T vdipc::Class::Template(T) const [T = int]").View() == "Class::Template");
static_assert(Qualified("vdipc::Class::Method(int) const::<lambda()>").View() ==
              "Class::Method::<lambda>::operator ()");
static_assert(Qualified("auto vdipc::Class::Method(int)::(anonymous class)::operator()() const").View() ==
              "Class::Method::<lambda>::operator ()");
static_assert(Qualified("vdipc::Class::Method()::<lambda(int)> mutable::<lambda(auto:1)> [with auto:1 = int]")
                  .View() == "Class::Method::<lambda>::operator ()::<lambda>::operator ()");
static_assert(Qualified("void vdipc::Class::Method() &::Local::Inner()").View() ==
              "Class::Method::Local::Inner");
static_assert(Qualified("void vdipc::{anonymous}::Free()").View() == "`anonymous-namespace'::Free");
static_assert(Qualified("void vdipc::(anonymous namespace)::Free()").View() == "`anonymous-namespace'::Free");
static_assert(Qualified("int main(int, char**)").View() == "main");
static_assert(Qualified("main").View() == "main");
static_assert(function_name::WithoutOwnNamespace("vdipc::Class::Method") == "Class::Method");
static_assert(function_name::WithoutOwnNamespace("other::vdipc::f") == "other::vdipc::f");

/// The generated name of a lambda is the compiler's own affair.
std::string LambdasAlike(const std::string& name) {
    return std::regex_replace(name, std::regex("<lambda[^>]*>"), "<lambda>");
}

TEST(FunctionName, MemberFunctions_AreClassAndMethod) {
    NameHost host;
    EXPECT_EQ(host.Method(1), "NameHost::Method");
    EXPECT_EQ(host.Const(""), "NameHost::Const");
    EXPECT_EQ(NameHost::Static(nullptr), "NameHost::Static");
    EXPECT_EQ(host.NoThrow(), "NameHost::NoThrow");
    std::string name;
    host.ManyBrackets(nullptr, name);
    EXPECT_EQ(name, "NameHost::ManyBrackets");
    EXPECT_EQ(host.Template(1), "NameHost::Template");
    EXPECT_EQ(host.Template(std::string("x")), "NameHost::Template");
    EXPECT_TRUE(host == 1);
    EXPECT_EQ(NameHost::last, "NameHost::operator==");
}

TEST(FunctionName, ConstructorAndDestructor_AreNamedAsTheyAreWritten) {
    std::string destroyed;
    { NameHost host(&destroyed); }
    EXPECT_EQ(NameHost().constructed, "NameHost::NameHost");
    EXPECT_EQ(destroyed, "NameHost::~NameHost");
}

TEST(FunctionName, Lambda_IsTheEnclosingFunctionWithTheCallOperatorBehindIt) {
    const NameHost host;
    EXPECT_EQ(LambdasAlike(host.Lambda("x")()), "NameHost::Lambda::<lambda>::operator ()");
    EXPECT_EQ(LambdasAlike(host.NestedLambda()),
              "NameHost::NestedLambda::<lambda>::operator ()::<lambda>::operator ()");
}

TEST(FunctionName, FreeFunctions_KeepInnerNamespacesOnly) {
    EXPECT_EQ(name_inner::Free(), "name_inner::Free");
    EXPECT_EQ(Hidden(), "`anonymous-namespace'::Hidden");
}

}  // namespace
}  // namespace vdipc
