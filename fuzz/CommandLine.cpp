// Any text for the parsers of what people type and edit: the command lines of the manager and of a child, and the
// operator's settings file.
#include <algorithm>
#include <sstream>

#include "Fuzz.h"
#include "protocols/KivProtocol/ProtocolChild.h"
#include "protocols/KivProtocolManager/class/ProtocolManager.h"
#include "protocols/kivctl/Failure.h"
#include "protocols/kivctl/SettingsFile.h"

/// Replaces the operator's console: it prints nothing and leaves every text as it is.
namespace kivctl {
void Print(std::string_view, Colour) {}
void PrintUtf8(std::string_view) {}
std::string ToUtf8(const std::string& narrow) {
    return narrow;
}
std::optional<std::string> FromUtf8(const std::string& utf8) {
    return utf8;
}
}  // namespace kivctl

namespace {

void ParseManagerArguments(const std::string& text) {
    std::vector<std::wstring> words{L"KivProtocolManager"};
    std::istringstream line(text);
    for (std::string word; std::getline(line, word, ' ');)
        words.emplace_back(word.begin(), word.end());
    std::vector<const wchar_t*> arguments;
    for (const auto& word : words)
        arguments.push_back(word.c_str());
    QuietHost host;
    CProtocolManager manager(host);
    std::int32_t bad = 0;
    const auto count = static_cast<std::int32_t>(arguments.size());
    try {
        Require(manager.ParseArguments(arguments.data(), count, bad) || (bad > 0 && bad < count));
    } catch (const std::out_of_range&) {
        // thrown for "--monitorwait:" cut short
    }
}

void ReadSettingsFile(const std::string& text) {
    try {
        const auto file = kivctl::WriteSettings(kivctl::ReadSettings(text));
        Require(kivctl::WriteSettings(kivctl::ReadSettings(file)) == file);
    } catch (const kivctl::Failure& failure) {
        Require(failure.Code() == kivctl::kWrongUsage);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    ParseManagerArguments(text);
    const auto name = ProtocolChild::InstanceName(text);
    Require(!name || (!name->empty() && text.find("--key:" + *name) != std::string::npos));
    ReadSettingsFile(text);
    return 0;
}
