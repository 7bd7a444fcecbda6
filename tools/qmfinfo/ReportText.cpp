#include <fmt/format.h>

#include "framework/ModuleTable.h"
#include "framework/Text.h"
#include "tools/qmfinfo/JsonRecords.h"
#include "tools/qmfinfo/ReportFormats.h"
#include "tools/qmfinfo/Units.h"
#include "tools/qmfinfo/Wrap.h"

namespace qmfinfo {
namespace {

// The lines of a report below the file's name.
class Lines {
 public:
  explicit Lines(std::size_t width) : m_width(width) {}

  void Add(const std::string& label, const std::string& text) {
    m_text += fmt::format("  {:<14}{}\n", label, Wrapped(text, 16, m_width));
  }
  const std::string& Text() const { return m_text; }

 private:
  const std::size_t m_width;
  std::string m_text;
};

std::string Joined(const std::vector<std::string>& parts) {
  return fmt::format("{}", fmt::join(parts, ", "));
}

std::string ModulesText(const FileReport& report) {
  std::vector<std::string> names;
  for (const std::int32_t id : report.moduleIds) names.emplace_back(qmf::ModuleName(id));
  return fmt::format("{}", fmt::join(names, " + "));
}

// The values in the units that people speak of, each as the Shell shows it.
std::string PropertyText(qmf::PropertyId property, std::uint64_t value) {
  switch (property) {
    case qmf::kMediaDuration:
      return DurationText(value);
    case qmf::kVideoFrameWidth:
    case qmf::kVideoFrameHeight:
      return CountText(value, "pixel");
    case qmf::kVideoFrameRate:
      return FrameRateText(static_cast<std::uint32_t>(value), 1000);
    case qmf::kAudioChannelCount:
      return std::to_string(value);
    case qmf::kAudioSampleRate:
      return SampleRateText(static_cast<std::uint32_t>(value));
    case qmf::kAudioSampleSize:
      return CountText(value, "bit");
    case qmf::kPropertyCount:
      break;
  }
  return {};
}

const char* PropertyLabel(qmf::PropertyId property) {
  static constexpr const char* kLabels[qmf::kPropertyCount] = {
      "Duration", "Frame width", "Frame height", "Frame rate", "Channels", "Sample rate", "Sample size"};
  return kLabels[property];
}

void AddProperties(Lines& lines, const FileReport& report) {
  for (std::size_t i = 0; i < report.properties.size(); ++i) {
    const auto property = static_cast<qmf::PropertyId>(i);
    if (report.properties[i])
      lines.Add(PropertyLabel(property), PropertyText(property, *report.properties[i]));
  }
}

std::string StreamText(const qmf::QMFVideoFormat& format) {
  std::vector<std::string> parts = {FourCCText(format.compression),
                                    fmt::format("{}×{}", format.width, format.height)};
  const bool scaled = format.displayWidth != format.width || format.displayHeight != format.height;
  if (scaled && format.displayWidth != 0 && format.displayHeight != 0) {
    parts.back() += fmt::format(" shown as {}×{}", format.displayWidth, format.displayHeight);
  }
  if (format.scale != 0) parts.push_back(FrameRateText(format.rate, format.scale));
  if (format.interlaced != 0) parts.emplace_back("interlaced");
  return Joined(parts);
}

const char* FormatTagName(std::uint16_t tag) {
  switch (tag) {
    case 0x0001:
      return "PCM";
    case 0x0003:
      return "PCM float";
    case 0x0050:
      return "MPEG audio";
    case 0x0055:
      return "MP3";
    case 0x00FF:
      return "AAC";
    case 0x2000:
      return "AC-3";
    case 0x2001:
      return "DTS";
    default:
      return nullptr;
  }
}

std::string StreamText(const qmf::QMFAudioFormat& format) {
  const char* const name = FormatTagName(format.formatTag);
  std::vector<std::string> parts = {name != nullptr ? name : fmt::format("format 0x{:04X}", format.formatTag),
                                    CountText(format.channels, "channel"),
                                    SampleRateText(format.samplesPerSec)};
  if (format.bitsPerSample != 0) parts.push_back(CountText(format.bitsPerSample, "bit"));
  return Joined(parts);
}

std::string StreamText(const qmf::QMFSubtitleFormat& format) {
  if (format.width == 0) return "text";
  return fmt::format("{}, {}×{}", FourCCText(format.compression), format.width, format.height);
}

template <class Format>
void AddStreams(Lines& lines, const char* kind, const std::vector<StreamReport<Format>>& streams) {
  for (std::size_t i = 0; i < streams.size(); ++i) {
    const bool known = streams[i].result == qmf::QMF_OK;
    lines.Add(fmt::format("{} {}", kind, i),
              known ? StreamText(streams[i].format) : "no format: " + ResultText(streams[i].result));
  }
}

std::string Advice(qmf::QMFResult result) {
  switch (result) {
    case qmf::QMF_FILE_NOT_OPENED:
      return "Is it there, is it a file, and may you read it?";
    case qmf::QMF_ERR_UNSUPPORTED_CONTAINER:
      return "No reader knows this kind of file, or it cannot be opened; folders need -r.";
    case qmf::QMF_OUT_OF_MEMORY:
      return "Memory ran out; fewer --jobs need less.";
    default:
      return qmf::IsFailure(result) ? "The file may be damaged or cut off."
                                    : "The Shell shows nothing of it.";
  }
}

}  // namespace

std::string ResultText(qmf::QMFResult result) {
  if (result == qmf::QMF_FILE_NOT_OPENED) return "The file cannot be opened. (-3)";
  const qmf::ResultCodeRow* const row = qmf::FindResultCode(result);
  if (row == nullptr) return fmt::format("Result 0x{:08X}.", static_cast<std::uint32_t>(result));
  return fmt::format("{} ({})", qmf::ToUtf8(row->message), qmf::ToUtf8(row->name));
}

std::string ReportText(const FileReport& report, const TextStyle& style) {
  if (qmf::IsFailure(report.result)) return {};
  Lines lines(style.width);
  lines.Add("Format", ModulesText(report));
  AddProperties(lines, report);
  AddStreams(lines, "Video", report.video);
  AddStreams(lines, "Audio", report.audio);
  AddStreams(lines, "Subtitle", report.subtitle);
  const std::string path = PathText(report.path);
  return (style.colour ? fmt::format("\x1b[1m{}\x1b[0m\n", path) : path + '\n') + lines.Text();
}

std::string FailureText(const std::u16string& path, qmf::QMFResult result) {
  return fmt::format("{}: {} {}", PathText(path), ResultText(result), Advice(result));
}

}  // namespace qmfinfo
