#include "tools/qmfinfo/FileReport.h"

#include "framework/QueryIds.h"
#include "tools/qmfinfo/MediaFile.h"

namespace qmfinfo {
namespace {

void ReadModules(const MediaFile& file, FileReport& report) {
  for (std::uint32_t piece = 0; piece < file.Container()->count; ++piece) {
    std::int32_t moduleId = 0;
    if (qmf::GetModuleOfPiece(file.Container(), piece, &moduleId) == qmf::QMF_OK) {
      report.moduleIds.push_back(moduleId);
    }
  }
}

void ReadDuration(const MediaFile& file, FileReport& report) {
  qmf::QMFQueryData data;
  if (qmf::GetInfo(file.Container(), qmf::QMF_QID_TITLE_DURATION, &data, 0) == qmf::QMF_OK) {
    report.duration = data.value;
  }
}

template <class Format>
void ReadStreams(const MediaFile& file, const StreamKind& kind, qmf::QMFQueryId qid,
                 std::vector<StreamReport<Format>>& streams) {
  const std::uint32_t count = file.CountStreams(kind);
  for (std::uint32_t index = 0; index < count; ++index) {
    StreamReport<Format>& stream = streams.emplace_back();
    qmf::QMFQueryData data;
    data.size = sizeof(stream.format);
    data.pointer = &stream.format;
    stream.result = qmf::GetInfo(file.Container(), qid, &data, index);
  }
}

}  // namespace

FileReport ReadFileReport(const std::u16string& path, std::uint32_t title) {
  FileReport report;
  report.path = path;
  MediaFile file;
  report.result = file.Open(path, title);
  report.opened = file.IsOpen();
  if (!report.opened) return report;
  ReadModules(file, report);
  if (qmf::IsFailure(report.result)) return report;
  if (report.result == qmf::QMF_OK) report.properties = qmf::ReadPropertyValues(file.Container());
  ReadDuration(file, report);
  ReadStreams(file, kStreamKinds[0], qmf::QMF_QID_VID_STREAM_FORMAT, report.video);
  ReadStreams(file, kStreamKinds[1], qmf::QMF_QID_AUD_STREAM_FORMAT, report.audio);
  ReadStreams(file, kStreamKinds[2], qmf::QMF_QID_SUB_STREAM_FORMAT, report.subtitle);
  return report;
}

}  // namespace qmfinfo
