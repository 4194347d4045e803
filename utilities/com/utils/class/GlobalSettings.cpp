#include "utils/class/GlobalSettings.h"

#include <mutex>

namespace {

std::mutex lock;  // guards the record
GlobalSettings record;

}  // namespace

GlobalSettings GlobalSettings::Get() {
    const std::lock_guard guard(lock);
    return record;
}

void GlobalSettings::Set(const GlobalSettings& settings) {
    const std::lock_guard guard(lock);
    record = settings;
    record.fixedIpcTimeout = kFixedIpcTimeout;
}
