// KIV_FUNCTION_NAME: the name of the enclosing function as "Class::Method", a zero-terminated compile-time constant.
//
// Compilers offer only the whole signature, each in its own spelling. The macro takes the last two components of the
// qualified name out of it, without return type, parameters, template arguments and unnamed scopes. Code in a lambda or
// a local class gets the name of the function around it. A signature does not distinguish a namespace from a class, so
// a free function keeps its innermost namespace ("VexaDB::LoadAll"); a function outside any namespace has only its own
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

/// Parses one signature from left to right. The last two components before the parameter list are scope and name.
class FunctionSignature {
  public:
    constexpr explicit FunctionSignature(std::string_view signature) : text_(signature) { Parse(); }

    /// The class or the innermost namespace; empty for a function outside any named scope.
    constexpr std::string_view Scope() const { return scope_; }
    constexpr std::string_view Name() const { return name_; }

  private:
    constexpr void Parse() {
        while (position_ < text_.size()) {
            if (IsAt("::"))
                EnterScope();
            else if (IsAt("(anonymous") || IsAt("{") || IsAt("`"))
                SkipGroup();  // an unnamed namespace is no component of the name
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
                Forget();  // it was the return type, or a return type that is a pointer to a function begins here
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

    /// Skips to the end of the bracketed group that begins here. Angle brackets inside parentheses form no group: they
    /// are comparisons or arrows.
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

    /// Takes everything up to the parameter list as the name: "operator" and its sign, "()", or the conversion's type.
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

/// A zero-terminated name of at most 127 bytes; a longer one is truncated.
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

// The signature here is that of the lambda. FunctionSignature reduces it to the name of the function around it.
#define KIV_FUNCTION_NAME                                                                             \
    ([]() noexcept -> const char* {                                                                   \
        static constexpr auto kivFunctionName_ = ::Logging::MakeFunctionName(KIV_FUNCTION_SIGNATURE); \
        return kivFunctionName_.data();                                                               \
    }())
