#include "support/RegistryHost.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "utils/registry/Registry.h"
#include "utils/registry/RegistryKey.h"

namespace {

using VexaUtils::NamedRegistryValue;
using VexaUtils::RegistryKey;
using VexaUtils::RegistryValue;
using VexaUtils::ValueKind;

/// Names compare without regard to letter case.
struct NameLess {
    bool operator()(const std::string& a, const std::string& b) const {
        const auto upper = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; };
        return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                            [&](char x, char y) { return upper(x) < upper(y); });
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
    unsigned calls = 0;
    unsigned writesLeft = RegistryHost::kUnlimited;
};

Tree& TheTree() {
    static auto* tree = new Tree;  // outlives every static object that may still log
    return *tree;
}

class RegistryKeyHost : public RegistryKey {
  public:
    explicit RegistryKeyHost(std::shared_ptr<Node> node) : node_(std::move(node)) {}

    std::int32_t Subkeys(std::vector<std::string>& names) override {
        std::lock_guard guard(tree_.lock);
        if (!Readable())
            return -1;
        names.clear();
        for (const auto& [name, subkey] : node_->subkeys)
            names.push_back(name);
        return 0;
    }
    std::int32_t Values(std::vector<NamedRegistryValue>& values) override {
        std::lock_guard guard(tree_.lock);
        if (!Readable())
            return -1;
        values.clear();
        for (const auto& [name, value] : node_->values)
            values.push_back({name, value});
        return 0;
    }
    std::int32_t Query(const std::string& name, RegistryValue& value) override {
        std::lock_guard guard(tree_.lock);
        if (!Readable() || !node_->values.contains(name))
            return -1;
        value = node_->values[name];
        return 0;
    }
    std::int32_t SetNumber(const std::string& name, std::uint32_t number) override {
        return Set(name, {ValueKind::Number, number, {}});
    }
    std::int32_t SetText(const std::string& name, const std::string& text) override {
        return Set(name, {ValueKind::Text, 0, text});
    }
    std::shared_ptr<RegistryKey> OpenSubkey(const std::string& name) override {
        std::lock_guard guard(tree_.lock);
        if (!Readable() || !node_->subkeys.contains(name))
            return nullptr;
        return std::make_shared<RegistryKeyHost>(node_->subkeys[name]);
    }
    std::shared_ptr<RegistryKey> CreateSubkey(const std::string& name) override {
        std::lock_guard guard(tree_.lock);
        if (!Writable())
            return nullptr;
        auto& subkey = node_->subkeys[name];
        if (!subkey)
            subkey = std::make_shared<Node>();
        return std::make_shared<RegistryKeyHost>(subkey);
    }
    std::int32_t RenameSubkey(const std::string& oldName, const std::string& newName) override {
        std::lock_guard guard(tree_.lock);
        if (!Writable() || node_->subkeys.contains(newName) || !node_->subkeys.contains(oldName))
            return -1;
        auto subkey = node_->subkeys.extract(oldName);
        subkey.key() = newName;
        node_->subkeys.insert(std::move(subkey));
        return 0;
    }
    std::int32_t DeleteSubkey(const std::string& name) override {
        std::lock_guard guard(tree_.lock);
        if (!Writable() || !node_->subkeys.contains(name))
            return -1;
        node_->subkeys[name]->deleted = true;
        node_->subkeys.erase(name);
        return 0;
    }
    std::int32_t Flush() override { return 0; }
    bool ChangedSinceLastAsked() override {
        std::lock_guard guard(tree_.lock);
        return std::exchange(seen_, tree_.changes) != tree_.changes;
    }

  private:
    bool Readable() {
        ++tree_.calls;
        return !node_->deleted;
    }
    bool Writable() {
        if (!Readable() || tree_.writesLeft == 0)
            return false;
        tree_.writesLeft -= tree_.writesLeft == RegistryHost::kUnlimited ? 0 : 1;
        ++tree_.changes;
        return true;
    }
    std::int32_t Set(const std::string& name, const RegistryValue& value) {
        std::lock_guard guard(tree_.lock);
        if (!Writable())
            return -1;
        node_->values[name] = value;
        return 0;
    }

    Tree& tree_ = TheTree();
    std::shared_ptr<Node> node_;
    unsigned seen_ = 0xFFFFFFFF;  // no number of changes yet
};

/// The key of a path; empty when it is missing and `create` is false.
std::shared_ptr<RegistryKey> KeyAt(const std::string& path, bool create) {
    std::unique_lock guard(TheTree().lock);
    std::shared_ptr<RegistryKey> key = std::make_shared<RegistryKeyHost>(TheTree().root);
    guard.unlock();
    for (std::size_t begin = 0; key && begin < path.size();) {
        const auto end = std::min(path.find('\\', begin), path.size());
        const auto name = path.substr(begin, end - begin);
        auto subkey = key->OpenSubkey(name);
        key = subkey || !create ? subkey : key->CreateSubkey(name);
        begin = end + 1;
    }
    return key;
}

/// Tuning values, as a key that is open for reading gives them.
class RegistryReader : public VexaUtils::Registry {
  public:
    explicit RegistryReader(std::string path) : path_(std::move(path)) {}
    bool ValueExists(const std::string& name) override {
        RegistryValue found;
        return key_ && key_->Query(name, found) == 0;
    }
    std::int32_t GetUint32(const std::string& name, std::uint32_t& value) override {
        RegistryValue found;
        if (!key_ || key_->Query(name, found) != 0 || found.kind != ValueKind::Number)
            return -1;
        value = found.number;
        return 0;
    }
    std::int32_t GetString(const std::string& name, std::string& value) override {
        constexpr std::size_t kLongest = 255;
        RegistryValue found;
        if (!key_ || key_->Query(name, found) != 0 || found.kind != ValueKind::Text || found.text.size() > kLongest)
            return -1;
        value = found.text;
        return 0;
    }
    std::int32_t SetUint32(const std::string&, std::uint32_t) override { return -1; }
    std::int32_t SetString(const std::string&, const std::string&) override { return -1; }
    std::int32_t Open() override { return (key_ = KeyAt(path_, false)) ? 0 : -1; }
    std::int32_t Close() override { return std::exchange(key_, nullptr) ? 0 : -1; }

  private:
    std::string path_;
    std::shared_ptr<RegistryKey> key_;
};

}  // namespace

std::shared_ptr<VexaUtils::Registry> VexaUtils::Registry::Make(const std::string& relativePath) {
    return std::make_shared<RegistryReader>(kProductKey + relativePath);
}

std::shared_ptr<RegistryKey> RegistryKey::OpenOrCreate(const std::string& path) {
    return KeyAt(path, true);
}

void RegistryHost::Reset() {
    std::lock_guard guard(TheTree().lock);
    TheTree().root = std::make_shared<Node>();
    ++TheTree().changes;
    TheTree().writesLeft = kUnlimited;
}

unsigned RegistryHost::Calls() {
    std::lock_guard guard(TheTree().lock);
    return TheTree().calls;
}

void RegistryHost::AllowWrites(unsigned count) {
    std::lock_guard guard(TheTree().lock);
    TheTree().writesLeft = count;
}
