// The fixture of the settings database's tests: an empty database and a captured log. The tests look at the registry as
// another process would. It is the real one on Windows and a double elsewhere.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>

#include "support/CaptureSink.h"
#include "utils/VexaDB/class/ProtocolTypes.h"
#include "utils/VexaDB/class/VexaDBServer.h"
#include "utils/registry/RegistryKey.h"

using Lines = std::vector<std::string>;

class DatabaseTest : public ::testing::Test {
  protected:
    DatabaseTest() {
        const auto settings = VexaUtils::RegistryKey::OpenOrCreate("Software\\Quenlar\\Torvik\\Runtime\\Settings");
        settings->DeleteSubkey("vexa");
        outside = settings->CreateSubkey("vexa");
    }

    /// Every value of the database key as `name=7` or `name="text"`, then those of the tables with the prefix `id\`.
    /// The values of each key are sorted.
    Lines Dump() const {
        Lines lines, ids;
        DumpValues(*outside, "", lines);
        outside->Subkeys(ids);
        for (const auto& id : ids)
            DumpValues(*outside->OpenSubkey(id), id + '\\', lines);
        return lines;
    }
    /// The log's lines since the last call.
    Lines Logged() {
        auto messages = log->Messages();
        log->Clear();
        return messages;
    }
    static Lines Names(VexaDB::VexaDBInterface& store) {
        Lines names;
        EXPECT_EQ(store.GetInstances(names), 0);
        return names;
    }

    LogCapture log;
    std::shared_ptr<VexaUtils::RegistryKey> outside;  // the database key, opened as by another process

  private:
    static void DumpValues(VexaUtils::RegistryKey& key, const std::string& prefix, Lines& lines) {
        std::vector<VexaUtils::NamedRegistryValue> values;
        key.Values(values);
        const auto first = static_cast<std::ptrdiff_t>(lines.size());
        for (const auto& [name, value] : values) {
            const bool isNumber = value.kind == VexaUtils::ValueKind::Number;
            lines.push_back(prefix + name + "=" + (isNumber ? std::to_string(value.number) : '"' + value.text + '"'));
        }
        std::sort(lines.begin() + first, lines.end());
    }
};
