#include "utils/class/GlobalSettings.h"

#include <mutex>

namespace {

std::mutex recordLock;  // guards the record
GlobalSettings record;

}  // namespace

GlobalSettings GlobalSettings::Get() {
    const std::lock_guard guard(recordLock);
    return record;
}

void GlobalSettings::Set(const GlobalSettings& settings) {
    const std::lock_guard guard(recordLock);
    record = settings;
    record.fixedIpcTimeout = kFixedIpcTimeout;
}
