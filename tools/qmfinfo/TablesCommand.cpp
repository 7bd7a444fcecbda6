#include <array>
#include <cstring>

#include "framework/ModuleInterface.h"
#include "framework/QueryIds.h"
#include "framework/ResultCodes.h"
#include "framework/Text.h"
#include "readers/avi/AviFourCCs.h"
#include "readers/mkv/CodecTable.h"
#include "readers/mkv/EbmlElements.h"
#include "tools/qmfinfo/Options.h"
#include "tools/qmfinfo/Output.h"

namespace qmfinfo {
namespace {

Json ResultsTable() {
  Json rows = Json::array();
  for (const qmf::ResultCodeRow& row : qmf::ResultCodeTable()) {
    rows.push_back(
        {{"code", row.code}, {"name", qmf::ToUtf8(row.name)}, {"message", qmf::ToUtf8(row.message)}});
  }
  return rows;
}

Json QueryIdsTable() {
  Json rows = Json::array();
  for (const qmf::QueryIdRow& row : qmf::QueryIdTable()) {
    rows.push_back({{"name", qmf::ToUtf8(row.name)}, {"value", row.value}});
  }
  return rows;
}

Json FilledSlots(const qmf::QMFModuleEntryPoints& entryPoints) {
  std::array<void*, qmf::kModuleSlotCount> slots{};
  std::memcpy(slots.data(), &entryPoints, sizeof(slots));
  Json filled = Json::array();
  for (std::size_t i = 0; i < slots.size(); ++i) {
    if (slots[i] != nullptr) filled.push_back(i);
  }
  return filled;
}

Json ModulesTable() {
  Json rows = Json::array();
  for (const qmf::QMFModuleDescriptor* module : qmf::kModuleList) {
    rows.push_back({{"id", module->moduleId},
                    {"header", module->header->values},
                    {"extensions", qmf::ToUtf8(module->header->extensions)},
                    {"description", qmf::ToUtf8(module->header->description)},
                    {"slots", FilledSlots(*module->entryPoints)}});
  }
  return rows;
}

Json ElementsTable() {
  Json rows = Json::array();
  for (const qmf::EbmlElementRow& row : qmf::EbmlElementTable().first(qmf::kElementCount)) {
    rows.push_back({{"index", rows.size()},
                    {"name", qmf::ToUtf8(row.name)},
                    {"id", row.id},
                    {"type", static_cast<std::uint32_t>(row.type)}});
  }
  return rows;
}

Json CodecsTable() {
  Json rows = Json::array();
  for (const qmf::MkvCodecRow& row : qmf::MkvCodecTable()) {
    rows.push_back({{"index", row.index},
                    {"formatTag", row.formatTag},
                    {"flag", row.flag},
                    {"codecId", qmf::ToUtf8(row.codecId)}});
  }
  return rows;
}

Json FourCCsTable() {
  return qmf::kAviFourCCTable;
}

struct Table {
  const char* name;
  Json (*rows)();
};

constexpr Table kTables[] = {
    {"results", ResultsTable},   {"qids", QueryIdsTable}, {"modules", ModulesTable},
    {"elements", ElementsTable}, {"codecs", CodecsTable}, {"fourccs", FourCCsTable},
};

// One row a line, its fields apart by tabs.
void PrintText(const Json& rows) {
  for (const Json& row : rows) {
    const char* separator = "";
    for (const Json& field : row.is_object() ? row : Json::array({row})) {
      Print(separator);
      Print(field.is_string() ? field.get_ref<const std::string&>() : field.dump());
      separator = "\t";
    }
    Print("\n");
  }
}

}  // namespace

std::vector<std::string> TableNames() {
  std::vector<std::string> names;
  for (const Table& table : kTables) names.emplace_back(table.name);
  return names;
}

ExitCode Run(const TablesOptions& options) {
  for (const Table& table : kTables) {
    if (options.table != table.name) continue;
    const Json rows = table.rows();
    options.json ? PrintLine(rows) : PrintText(rows);
  }
  return kAllAnswered;
}

}  // namespace qmfinfo
