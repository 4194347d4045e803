// An observer of the settings database that hears every change as a text.
#pragma once

#include <functional>
#include <string>
#include <utility>

#include "utils/VexaDB/class/VexaDBServer.h"

/// `told` is called on the thread that made the change: "removed A", "renamed A B", "type A 2", "A.setting old>new" for
/// texts and numbers, and "follow".
class Observer : public VexaDB::VexaDBServerOpObserver {
  public:
    explicit Observer(std::function<void(const std::string&)> told) : told_(std::move(told)) {}
    void InstanceTypeChanged(std::string instance, std::uint32_t type) override {
        told_("type " + instance + " " + std::to_string(type));
    }
    void InstanceRemoved(std::string instance) override { told_("removed " + instance); }
    void InstanceRenamed(std::string from, std::string to) override { told_("renamed " + from + " " + to); }
    void Uint32Changed(std::string instance, std::string setting, std::uint32_t from, std::uint32_t to) override {
        StringChanged(instance, setting, std::to_string(from), std::to_string(to));
    }
    void StringChanged(std::string instance, std::string setting, std::string from, std::string to) override {
        told_(instance + "." + setting + " " + from + ">" + to);
    }
    void Follow() override { told_("follow"); }

  private:
    const std::function<void(const std::string&)> told_;
};
