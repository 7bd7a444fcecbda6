#include <span>

#include "framework/ModuleTable.h"
#include "framework/Text.h"
#include "tools/qmfinfo/JsonRecords.h"
#include "tools/qmfinfo/ReportFormats.h"

namespace qmfinfo {
namespace {

Json ModulesJson(const FileReport& report) {
  Json modules = Json::array();
  for (const std::int32_t id : report.moduleIds) {
    modules.push_back({{"id", id}, {"name", qmf::ModuleName(id)}});
  }
  return modules;
}

Json PropertiesJson(const FileReport& report) {
  Json properties = Json::object();
  for (std::size_t i = 0; i < report.properties.size(); ++i) {
    if (!report.properties[i]) continue;
    properties[qmf::PropertyName(static_cast<qmf::PropertyId>(i))] = *report.properties[i];
  }
  return properties;
}

template <class Format, class AddFields>
Json StreamsJson(const std::vector<StreamReport<Format>>& streams, AddFields&& addFields) {
  Json all = Json::array();
  for (std::size_t i = 0; i < streams.size(); ++i) {
    Json stream = {{"index", i}, {"result", static_cast<std::uint32_t>(streams[i].result)}};
    if (streams[i].result == qmf::QMF_OK) addFields(stream, streams[i].format);
    all.push_back(std::move(stream));
  }
  return all;
}

void AddAudioRecord(Json& object, const qmf::QMFAudioFormat& format) {
  AddAudioFormat(object, {reinterpret_cast<const std::uint8_t*>(&format), sizeof(format)});
}

}  // namespace

Json ReportJson(const FileReport& report) {
  Json object = {{"path", qmf::ToUtf8(report.path)}};
  SetResult(object, report.result);
  if (report.opened) object["modules"] = ModulesJson(report);
  object["properties"] = PropertiesJson(report);
  if (report.opened) {
    object["duration"] = report.duration ? Json(*report.duration) : Json();
    object["video"] = StreamsJson(report.video, AddVideoFormat);
    object["audio"] = StreamsJson(report.audio, AddAudioRecord);
    object["subtitle"] = StreamsJson(report.subtitle, AddSubtitleFormat);
  }
  object["schema"] = kJsonSchema;
  return object;
}

}  // namespace qmfinfo
