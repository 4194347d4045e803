// The function names of log entries, from the signatures of every compiler this builds with.
#include "utils/logging/FunctionName.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(FunctionName, IsTheLastTwoComponentsOfAnySignature) {
    const std::pair<const char*, const char*> cases[] = {
        {"static void GlobalSettings::LoadSettings()", "GlobalSettings::LoadSettings"},
        {"int ns::Klass<T>::Do(std::map<int, ns::X<(1 > 2)> >) [with T = int; U = std::less<void(int)>]", "Klass::Do"},
        {"auto ns::Klass<std::pair<int, int>>::Do(int)::(anonymous class)::operator()() const", "Klass::Do"},
        {"auto __cdecl ns::Klass::Do::<lambda_1>::operator ()(void) const", "Klass::Do"},
        {"class std::shared_ptr<struct ns::X> __cdecl A::B(const struct ns::X *)", "A::B"},
        {"void (__cdecl *__cdecl ns::A::B(int))(int)", "A::B"},
        {"virtual ns::Klass<T>::~Klass() [with T = int]", "Klass::~Klass"},
        {"std::string ns::A::B[abi:cxx11](int)", "A::B"},
        {"void (anonymous namespace)::Free(int)", "Free"},
        {"void __cdecl ns::`anonymous-namespace'::Klass::Do(void)", "Klass::Do"},
        {"A& A::operator<<(const A&)", "A::operator<<"},
        {"A::operator std::pair<int, void (*)(int)>() const", "A::operator std::pair<int, void (*)(int)>"},
        {"void A::operatorOnDuty(int)", "A::operatorOnDuty"},
    };
    for (const auto& [signature, name] : cases)
        EXPECT_STREQ(Logging::MakeFunctionName(signature).data(), name) << signature;
}

template <typename T>
struct Speaker {
    std::string operator<(T) const { return KIV_FUNCTION_NAME; }
};

TEST(FunctionName, IsWhatThisCompilerSays) {
    EXPECT_EQ(Speaker<int>() < 1, "Speaker::operator<");
}

}  // namespace
