#include "support/Doubles.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "utils/registry/Registry.h"
#include "utils/registry/RegistryKey.h"

namespace {

using VexaUtils::NamedRegistryValue;
using VexaUtils::Reading;
using VexaUtils::RegistryKey;
using VexaUtils::RegistryValue;
using VexaUtils::ValueKind;

/// Compares names without regard to letter case.
struct NameLess {
    bool operator()(const std::string& a, const std::string& b) const {
        const auto upper = [](unsigned char c) { return std::toupper(c); };
        return std::ranges::lexicographical_compare(a, b, {}, upper, upper);
    }
};

struct Node {
    std::map<std::string, std::shared_ptr<Node>, NameLess> subkeys;
    std::map<std::string, RegistryValue, NameLess> values;
    bool deleted = false;
};

struct Tree {
    std::mutex lock;  // guards all of it, nodes included
    std::shared_ptr<Node> root = std::make_shared<Node>();
    unsigned changes = 0;
    RegistryHost::Faults faults;

    std::string Carried(std::string text) const {
        std::erase_if(text, [this](char c) { return faults.lostCharacters.find(c) != std::string::npos; });
        return text;
    }
};

Tree& TheTree() {
    static auto& tree = *new Tree;  // outlives every static object that may still log
    return tree;
}

class RegistryKeyHost : public RegistryKey {
  public:
    explicit RegistryKeyHost(std::shared_ptr<Node> node) : node_(std::move(node)) {}

    std::int32_t Subkeys(std::vector<std::string>& names) override {
        const std::lock_guard guard(tree_.lock);
        names.clear();
        for (const auto& [name, subkey] : node_->subkeys)
            names.push_back(tree_.Carried(name));
        return Readable() ? 0 : -1;
    }
    std::int32_t Values(std::vector<NamedRegistryValue>& values) override {
        const std::lock_guard guard(tree_.lock);
        values.clear();
        for (const auto& [name, value] : node_->values)
            values.push_back({name, value});
        return Readable() ? 0 : -1;
    }
    Reading Query(const std::string& name, RegistryValue& value) override {
        const std::lock_guard guard(tree_.lock);
        if (!Readable())
            return Reading::Failed;
        if (!node_->values.contains(name))
            return Reading::Missing;
        value = node_->values[name];
        return Reading::Found;
    }
    std::int32_t SetNumber(const std::string& name, std::uint32_t number) override {
        return Set(name, {ValueKind::Number, number, {}});
    }
    std::int32_t SetText(const std::string& name, const std::string& text) override {
        return Set(name, {ValueKind::Text, 0, tree_.Carried(text)});
    }
    std::int32_t DeleteValue(const std::string& name) override {
        const std::lock_guard guard(tree_.lock);
        if (!Writable())
            return -1;
        node_->values.erase(name);
        return 0;
    }
    std::shared_ptr<RegistryKey> OpenSubkey(const std::string& name) override {
        const std::lock_guard guard(tree_.lock);
        const bool found = Readable() && node_->subkeys.contains(name);
        return found ? std::make_shared<RegistryKeyHost>(node_->subkeys[name]) : nullptr;
    }
    std::shared_ptr<RegistryKey> CreateSubkey(const std::string& name) override {
        const std::lock_guard guard(tree_.lock);
        if (!Writable())
            return nullptr;
        const auto made = node_->subkeys.try_emplace(name, std::make_shared<Node>()).first;
        return std::make_shared<RegistryKeyHost>(made->second);
    }
    std::int32_t RenameSubkey(const std::string& oldName, const std::string& newName) override {
        const std::lock_guard guard(tree_.lock);
        if (!Writable() || node_->subkeys.contains(newName) || !node_->subkeys.contains(oldName))
            return -1;
        auto subkey = node_->subkeys.extract(oldName);
        subkey.key() = newName;
        node_->subkeys.insert(std::move(subkey));
        return 0;
    }
    std::int32_t DeleteSubkey(const std::string& name) override {
        const std::lock_guard guard(tree_.lock);
        if (!Writable() || !node_->subkeys.contains(name))
            return -1;
        node_->subkeys[name]->deleted = true;
        node_->subkeys.erase(name);
        return 0;
    }
    void Flush() override {}
    bool ChangedSinceLastAsked() override {
        const std::lock_guard guard(tree_.lock);
        return std::exchange(seen_, tree_.changes) != tree_.changes;
    }

  private:
    bool Fails() { return node_->deleted || (tree_.faults.call > 0 && --tree_.faults.call == 0); }
    /// Uses up one of the calls that are left; false when none is left.
    static bool Take(unsigned& left) {
        if (left == 0)
            return false;
        left -= left == RegistryHost::kUnlimited ? 0 : 1;
        return true;
    }
    bool Readable() { return !Fails() && Take(tree_.faults.reads); }
    bool Writable() {
        const bool writable = !Fails() && Take(tree_.faults.writes);
        tree_.changes += writable ? 1 : 0;
        return writable;
    }
    std::int32_t Set(const std::string& name, const RegistryValue& value) {
        const std::lock_guard guard(tree_.lock);
        if (!Writable())
            return -1;
        node_->values[name] = value;
        return 0;
    }

    Tree& tree_ = TheTree();
    const std::shared_ptr<Node> node_;
    unsigned seen_ = 0xFFFFFFFF;  // the number of changes at the last call; no real number at first
};

/// The key of a path; empty when it is missing and `create` is false.
std::shared_ptr<RegistryKey> KeyAt(const std::string& path, bool create) {
    std::unique_lock guard(TheTree().lock);
    std::shared_ptr<RegistryKey> key = std::make_shared<RegistryKeyHost>(TheTree().root);
    guard.unlock();
    std::istringstream names(path);
    for (std::string name; key && std::getline(names, name, '\\');) {
        auto subkey = key->OpenSubkey(name);
        key = subkey || !create ? subkey : key->CreateSubkey(name);
    }
    return key;
}

/// Reads tuning values; refuses to write, like a key that is open for reading only.
class RegistryReader : public VexaUtils::Registry {
  public:
    explicit RegistryReader(std::string path) : path_(std::move(path)) {}
    bool ValueExists(const std::string& name) override { return Find(name); }
    std::int32_t GetUint32(const std::string& name, std::uint32_t& value) override {
        const bool found = Find(name) && found_.kind == ValueKind::Number;
        value = found ? found_.number : value;
        return found ? 0 : -1;
    }
    std::int32_t GetString(const std::string& name, std::string& value) override {
        const bool found = Find(name) && found_.kind == ValueKind::Text;
        value = found ? found_.text : value;
        return found ? 0 : -1;
    }
    std::int32_t SetUint32(const std::string&, std::uint32_t) override { return -1; }
    std::int32_t SetString(const std::string&, const std::string&) override { return -1; }
    std::int32_t Open() override { return (key_ = KeyAt(path_, false)) ? 0 : -1; }
    std::int32_t Close() override { return std::exchange(key_, nullptr) ? 0 : -1; }

  private:
    bool Find(const std::string& name) { return key_ && key_->Query(name, found_) == Reading::Found; }

    const std::string path_;
    std::shared_ptr<RegistryKey> key_;
    RegistryValue found_;
};

}  // namespace

std::shared_ptr<VexaUtils::Registry> VexaUtils::Registry::Make(const std::string& relativePath) {
    return std::make_shared<RegistryReader>(kProductKey + relativePath);
}

std::shared_ptr<RegistryKey> RegistryKey::OpenOrCreate(const std::string& path) {
    return KeyAt(path, true);
}

bool RegistryKey::Preserves(const std::string& text) {
    const std::lock_guard guard(TheTree().lock);
    return TheTree().Carried(text) == text;
}

void RegistryHost::Reset() {
    const std::lock_guard guard(TheTree().lock);
    TheTree().root = std::make_shared<Node>();
    ++TheTree().changes;
    TheTree().faults = {};
}

RegistryHost::Faults RegistryHost::Inject(Faults faults) {
    const std::lock_guard guard(TheTree().lock);
    return std::exchange(TheTree().faults, std::move(faults));
}
