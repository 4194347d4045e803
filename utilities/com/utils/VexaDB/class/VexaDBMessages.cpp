#include "utils/VexaDB/class/VexaDBMessages.h"

#include <utility>

namespace VexaDB {

namespace {

ipc_vexadb_list_reply Head(std::int32_t status, std::size_t count) {
    ipc_vexadb_list_reply head;
    head.status = status;
    head.count = static_cast<std::uint32_t>(count);
    return head;
}

template <class Record, class Entry, class Convert>
std::int32_t DecodeList(std::span<const std::uint8_t> payload, std::vector<Entry>& entries, Convert convert) {
    const auto head = wire::Decode<ipc_vexadb_list_reply>(payload);
    if (!head)
        return -1;
    if (head->status != 0)
        return head->status;
    std::vector<Entry> decoded;
    for (std::size_t i = 0; i < head->count; ++i) {
        const auto record = wire::Decode<Record>(payload, sizeof *head + i * sizeof(Record));
        if (!record)
            return -1;
        decoded.push_back(convert(*record));
    }
    entries = std::move(decoded);
    return 0;
}

}  // namespace

IPCPayload EncodeInstances(std::int32_t status, const std::vector<std::string>& instances) {
    auto payload = wire::Encode(Head(status, instances.size()));
    for (const auto& instance : instances)
        wire::Append(payload, wire::Name(instance));
    return payload;
}

IPCPayload EncodeSettings(std::int32_t status, const std::vector<SettingEntry>& settings) {
    auto payload = wire::Encode(Head(status, settings.size()));
    for (const auto& setting : settings) {
        ipc_vexadb_setting_entry entry;
        entry.setting = setting.name;
        entry.kind = static_cast<std::uint32_t>(setting.kind);
        wire::Append(payload, entry);
    }
    return payload;
}

std::int32_t DecodeInstances(std::span<const std::uint8_t> payload, std::vector<std::string>& instances) {
    return DecodeList<wire::Name>(payload, instances, [](const wire::Name& name) { return name.Text(); });
}

std::int32_t DecodeSettings(std::span<const std::uint8_t> payload, std::vector<SettingEntry>& settings) {
    return DecodeList<ipc_vexadb_setting_entry>(payload, settings, [](const ipc_vexadb_setting_entry& entry) {
        return SettingEntry{entry.setting.Text(), static_cast<SettingKind>(std::uint32_t{entry.kind}), 0, {}};
    });
}

}  // namespace VexaDB
