// KIV_FUNCTION_NAME: the enclosing function as "Class::Method", a zero-terminated constant made by the compiler.
//
// Compilers offer only the whole signature, each in its own spelling. The name is cut out of it: the last two
// components of the qualified name, without return type, parameters, template arguments and unnamed scopes; code within
// a lambda or a local class bears the name of the function around it. A signature does not tell a namespace from a
// class, so a free function keeps its innermost namespace ("VexaDB::LoadAll"); one outside any namespace is just its
// name ("wmain").
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#if defined(_MSC_VER) && !defined(__clang__)
#define KIV_FUNCTION_SIGNATURE __FUNCSIG__
#else
#define KIV_FUNCTION_SIGNATURE __PRETTY_FUNCTION__
#endif

namespace Logging {

/// Walks over one signature from left to right; what it has found when the parameter list begins is the name.
class FunctionSignature {
  public:
    constexpr explicit FunctionSignature(std::string_view signature) : text_(signature) { Parse(); }

    /// Empty for a function outside any named scope.
    constexpr std::string_view Scope() const { return scope_; }
    constexpr std::string_view Name() const { return name_; }

  private:
    constexpr void Parse() {
        while (position_ < text_.size()) {
            if (IsAt("::"))
                EnterScope();
            else if (IsAt("(anonymous") || IsAt("{") || IsAt("`"))
                SkipGroup();  // an unnamed namespace: no component
            else if (name_.empty() && IsAt("<lambda"))
                return LeaveScope();
            else if (IsAt("<") || IsAt("["))
                SkipGroup();
            else if (name_.empty() && IsWord("decltype"))
                SkipDecltype();
            else if (name_.empty() && IsWord("operator"))
                return TakeOperator();
            else if (IsAt("(") && !name_.empty())
                return;
            else if (IsAt(" ") || IsAt("*") || IsAt("&") || IsAt("("))
                Forget();  // the return type, or the bracket of one that is a pointer to a function
            else
                TakeCharacter();
        }
    }

    constexpr bool IsAt(std::string_view part) const { return text_.substr(position_).starts_with(part); }

    constexpr bool IsWord(std::string_view word) const {
        const auto after = position_ + word.size();
        return IsAt(word) && (after == text_.size() || !IsIdentifier(text_[after]));
    }

    static constexpr bool IsIdentifier(char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
    }

    constexpr void EnterScope() {
        outerScope_ = scope_;
        scope_ = name_;
        name_ = {};
        position_ += 2;
    }

    constexpr void LeaveScope() {
        name_ = scope_;
        scope_ = outerScope_;
    }

    constexpr void Forget() {
        outerScope_ = scope_ = name_ = {};
        ++position_;
    }

    constexpr void TakeCharacter() {
        const auto begin = position_ - name_.size();
        ++position_;
        name_ = text_.substr(begin, position_ - begin);
    }

    /// Moves behind the bracket that closes the one here. Angle brackets in parentheses are comparisons or arrows.
    constexpr void SkipGroup() {
        const char open = text_[position_];
        const char close = open == '(' ? ')' : open == '<' ? '>' : open == '[' ? ']' : open == '{' ? '}' : '\'';
        for (++position_; position_ < text_.size();) {
            const char c = text_[position_];
            if (c == close) {
                ++position_;
                return;
            }
            if (c == open || c == '(')
                SkipGroup();
            else
                ++position_;
        }
    }

    constexpr void SkipSpaces() {
        while (IsAt(" "))
            ++position_;
    }

    constexpr void SkipDecltype() {
        position_ += std::string_view("decltype").size();
        SkipSpaces();
        if (IsAt("("))
            SkipGroup();
    }

    /// The rest up to the parameter list is the operator: its sign, "()", or the type it converts to.
    constexpr void TakeOperator() {
        const auto begin = position_;
        position_ += std::string_view("operator").size();
        SkipSpaces();
        if (IsAt("()"))
            position_ += 2;
        const bool isConversion = position_ < text_.size() && IsIdentifier(text_[position_]);
        while (position_ < text_.size() && !IsAt("(")) {
            if (isConversion && IsAt("<"))
                SkipGroup();
            else
                ++position_;
        }
        name_ = text_.substr(begin, position_ - begin);
    }

    std::string_view text_;
    std::size_t position_ = 0;
    std::string_view outerScope_, scope_, name_;
};

/// A zero-terminated name; what does not fit is cut.
using FunctionNameText = std::array<char, 128>;

constexpr FunctionNameText MakeFunctionName(std::string_view signature) {
    const FunctionSignature parsed(signature);
    FunctionNameText text{};
    std::size_t length = 0;
    for (const auto part : {parsed.Scope(), std::string_view(parsed.Scope().empty() ? "" : "::"), parsed.Name()}) {
        for (const char c : part) {
            if (length + 1 < text.size())
                text[length++] = c;
        }
    }
    return text;
}

}  // namespace Logging

// Within the lambda the signature is the lambda's, of which the name of the function around it remains.
#define KIV_FUNCTION_NAME                                                                             \
    ([]() noexcept -> const char* {                                                                   \
        static constexpr auto kivFunctionName_ = ::Logging::MakeFunctionName(KIV_FUNCTION_SIGNATURE); \
        return kivFunctionName_.data();                                                               \
    }())
