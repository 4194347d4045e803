#include "protocols/kivctl/SettingsFile.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "protocols/kivctl/Failure.h"
#include "protocols/kivctl/Words.h"

namespace kivctl {

namespace {

constexpr const char* kFormatKey = "format";
constexpr const char* kFormat = "kiv-settings-1";
constexpr const char* kSettingsKey = "settings";
constexpr const char* kInstancesKey = "instances";

/// Iterates over the text and counts its lines: the parser gives the line only in its own errors.
class LineCounter {
  public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    LineCounter(const char* position, int* line) : position_(position), line_(line) {}
    reference operator*() const { return *position_; }
    LineCounter& operator++() {
        if (*position_++ == '\n')
            ++*line_;
        return *this;
    }
    bool operator==(const LineCounter& other) const { return position_ == other.position_; }
    bool operator!=(const LineCounter& other) const { return position_ != other.position_; }

  private:
    const char* position_;
    int* line_;
};

/// Receives the parser's events. The depth of nested objects tells the place in the file: 1 the file, 2 the
/// database-wide settings or the list of instances, 3 the settings of one instance.
class Reader : public nlohmann::json_sax<Json> {
  public:
    explicit Reader(const int& parserLine) : parserLine_(parserLine) {}

    std::vector<FileInstance> Take() {
        if (!formatSeen_)
            Fail("this is not a settings file: it has no \"format\"");
        return std::move(instances_);
    }

    bool start_object(std::size_t) override {
        ++depth_;
        if (depth_ == 1 || (depth_ == 2 && section_ == kInstancesKey))
            return true;
        if (depth_ == 2 && section_ == kSettingsKey)
            return AddInstance("");
        if (depth_ == 3 && section_ == kInstancesKey)
            return AddInstance(Narrow(key_));
        Fail("a setting is a number or a text");
    }

    bool end_object() override {
        --depth_;
        return true;
    }

    // The line is taken at the key: after a value the parser may already have read the next line.
    bool key(std::string& name) override {
        line_ = parserLine_;
        key_ = name;
        if (depth_ == 1) {
            section_ = name;
            if (name != kFormatKey && name != kSettingsKey && name != kInstancesKey)
                Fail("unknown key \"" + name + "\"");
        }
        return true;
    }

    bool string(std::string& text) override {
        if (depth_ == 1 && section_ == kFormatKey) {
            if (text != kFormat)
                Fail("the format is \"" + text + "\", not \"" + kFormat + "\"");
            formatSeen_ = true;
            return true;
        }
        return AddSetting(Narrow(text));
    }

    bool number_unsigned(std::uint64_t number) override {
        if (number > std::numeric_limits<std::uint32_t>::max())
            Fail("a number is at most 4294967295");
        return AddSetting(static_cast<std::uint32_t>(number));
    }

    bool number_integer(std::int64_t) override { Fail("a number is not negative"); }
    bool number_float(double, const std::string&) override { Fail("a number is whole"); }
    bool null() override { Fail("a setting is a number or a text"); }
    bool boolean(bool) override { Fail("a setting is a number or a text"); }
    bool binary(Json::binary_t&) override { Fail("a setting is a number or a text"); }
    bool start_array(std::size_t) override { Fail("a setting is a number or a text"); }
    bool end_array() override { return true; }

    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& error) override {
        // "[json.exception.parse_error.101] parse error at line 3, column 5: ..."
        const std::string_view what = error.what();
        const auto text = what.find("] ");
        throw Failure(kWrongUsage, std::string(text == std::string_view::npos ? what : what.substr(text + 2)) + ".");
    }

  private:
    [[noreturn]] void Fail(const std::string& reason) const {
        throw Failure(kWrongUsage, "Line " + std::to_string(line_) + ": " + reason + ".");
    }

    std::string Narrow(const std::string& utf8) const {
        auto narrow = FromUtf8(utf8);
        if (!narrow)
            Fail("\"" + utf8 + "\" has characters that this machine's code page lacks");
        if (narrow->find('\0') != std::string::npos)
            Fail("a text must not contain a zero character");
        if (narrow->size() > kNameMaximum)
            Fail("\"" + utf8 + "\" has " + std::to_string(narrow->size()) + " characters; at most " +
                 std::to_string(kNameMaximum) + " are possible");
        return *narrow;
    }

    bool AddInstance(const std::string& name) {
        if (name.empty() && section_ == kInstancesKey)
            Fail("an instance needs a name");
        const auto same = [&](const FileInstance& other) { return other.name == name; };
        if (std::any_of(instances_.begin(), instances_.end(), same))
            Fail("\"" + (name.empty() ? section_ : name) + "\" is there twice");
        instances_.push_back({name, line_, {}});
        return true;
    }

    bool AddSetting(SettingValue value) {
        const bool inSettings = (depth_ == 2 && section_ == kSettingsKey) || (depth_ == 3 && section_ == kInstancesKey);
        if (!inSettings)
            Fail("a setting belongs in \"settings\" or in an instance in \"instances\"");
        auto name = Narrow(key_);
        if (name.empty())
            Fail("a setting needs a name");
        auto& settings = instances_.back().settings;
        const auto same = [&](const Setting& other) { return VexaDB::IsSameSetting(other.name, name); };
        if (std::any_of(settings.begin(), settings.end(), same))
            Fail("\"" + key_ + "\" is there twice");
        settings.push_back({std::move(name), std::move(value), line_});
        return true;
    }

    const int& parserLine_;
    int line_ = 1;
    int depth_ = 0;
    std::string section_;
    std::string key_;
    bool formatSeen_ = false;
    std::vector<FileInstance> instances_;
};

}  // namespace

std::vector<FileInstance> ReadSettings(const std::string& text) {
    int line = 1;
    Reader reader(line);
    Json::sax_parse(LineCounter(text.data(), &line), LineCounter(text.data() + text.size(), &line), &reader);
    auto instances = reader.Take();
    std::stable_partition(instances.begin(), instances.end(),
                          [](const auto& instance) { return instance.name.empty(); });
    return instances;
}

std::string WriteSettings(const std::vector<FileInstance>& instances) {
    constexpr int indent = 2;
    Json file = {{kFormatKey, kFormat}, {kSettingsKey, Json::object()}, {kInstancesKey, Json::object()}};
    for (const auto& instance : instances) {
        auto settings = Json::object();
        for (const auto& setting : instance.settings)
            settings[ToUtf8(setting.name)] = ValueJson(setting.value);
        if (instance.name.empty())
            file[kSettingsKey] = std::move(settings);
        else
            file[kInstancesKey][ToUtf8(instance.name)] = std::move(settings);
    }
    return file.dump(indent, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace kivctl
