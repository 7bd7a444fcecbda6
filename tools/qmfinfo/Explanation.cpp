#include "tools/qmfinfo/Explanation.h"

#include <fmt/format.h>

#include <numeric>

#include "framework/QueryIds.h"
#include "tools/qmfinfo/MediaFile.h"
#include "tools/qmfinfo/Units.h"

namespace qmfinfo {
namespace {

// A call, what it gave, and which properties hang on it.
struct Step {
  const char* call;
  qmf::QMFResult result = qmf::QMF_OK;
};

std::string LowBits(std::uint64_t exact, std::uint64_t value) {
  return exact == value ? "as the stream says" : "only the low 16 bits are kept";
}

std::string FrameRateExact(const qmf::QMFVideoFormat& format) {
  const std::uint32_t divisor = std::gcd(format.rate, format.scale);
  return fmt::format("{}/{} = {}", format.rate / divisor, format.scale / divisor,
                     FrameRateText(format.rate, format.scale));
}

std::string FrameRateWhy(const qmf::QMFVideoFormat& format, std::uint64_t value) {
  std::string why = format.rate % format.scale == 0 ? "frames in 1000 seconds"
                                                    : "rounded to whole frames a second, times 1000";
  const double exact = static_cast<double>(format.rate) / static_cast<double>(format.scale);
  if (static_cast<double>(value) < exact * 1000 - 500) why += "; only the low 16 bits are kept";
  return why;
}

class Explainer {
 public:
  explicit Explainer(const std::u16string& path) { m_explanation.path = path; }

  Explanation Run() {
    Step open{"OpenContainer", m_file.Open(m_explanation.path)};
    if (open.result == qmf::QMF_OK) open = {"SetTitle", qmf::SetTitle(m_file.Container(), 0)};
    m_explanation.result = open.result;
    if (open.result != qmf::QMF_OK) {
      AddMissing(qmf::kMediaDuration, qmf::kPropertyCount, open, "the Shell object fails on this file");
      return std::move(m_explanation);
    }
    m_values = qmf::ReadPropertyValues(m_file.Container());
    AddDuration();
    AddStreams();
    return std::move(m_explanation);
  }

 private:
  void Add(qmf::PropertyId property, const Step& step, std::string exact, std::string why) {
    m_explanation.properties.push_back(
        {property, m_values[property], std::move(exact), std::move(why), step.call, step.result});
  }

  void AddMissing(std::size_t first, std::size_t end, const Step& step, const std::string& why) {
    for (std::size_t i = first; i < end; ++i) Add(static_cast<qmf::PropertyId>(i), step, {}, why);
  }

  template <class Format>
  Step Ask(const char* call, qmf::QMFQueryId qid, Format& format) {
    qmf::QMFQueryData data;
    data.size = sizeof(format);
    data.pointer = &format;
    return {call, qmf::GetInfo(m_file.Container(), qid, &data, 0)};
  }

  void AddDuration() {
    qmf::QMFQueryData data;
    const Step step{"QMF_QID_TITLE_DURATION",
                    qmf::GetInfo(m_file.Container(), qmf::QMF_QID_TITLE_DURATION, &data, 0)};
    if (step.result != qmf::QMF_OK) {
      AddMissing(qmf::kMediaDuration, qmf::kVideoFrameWidth, step, "the query fails");
      return;
    }
    Add(qmf::kMediaDuration, step, fmt::format("{} x 100 ns", data.value), "as the file says");
  }

  void AddStreams() {
    const Step activate{"SetTitleActiveStream video 0",
                        qmf::SetTitleActiveStream(m_file.Container(), qmf::kBlockVideo, 0, 1)};
    if (activate.result != qmf::QMF_OK) {
      AddMissing(qmf::kVideoFrameWidth, qmf::kPropertyCount, activate,
                 "without a video stream 0 to activate only the duration is shown");
      return;
    }
    AddVideo();
    AddAudio();
  }

  void AddVideo() {
    qmf::QMFVideoFormat format{};
    const Step step = Ask("QMF_QID_VID_STREAM_FORMAT", qmf::QMF_QID_VID_STREAM_FORMAT, format);
    if (step.result != qmf::QMF_OK) {
      AddMissing(qmf::kVideoFrameWidth, qmf::kAudioChannelCount, step, "the query fails");
      return;
    }
    AddNumber(qmf::kVideoFrameWidth, step, format.width, "px");
    AddNumber(qmf::kVideoFrameHeight, step, format.height, "px");
    if (!m_values[qmf::kVideoFrameRate]) {
      AddMissing(qmf::kVideoFrameRate, qmf::kAudioChannelCount, step, "the stream's frame rate is unknown");
      return;
    }
    Add(qmf::kVideoFrameRate, step, FrameRateExact(format),
        FrameRateWhy(format, *m_values[qmf::kVideoFrameRate]));
  }

  void AddAudio() {
    qmf::QMFAudioFormat format{};
    const Step step = Ask("QMF_QID_AUD_STREAM_FORMAT", qmf::QMF_QID_AUD_STREAM_FORMAT, format);
    if (step.result != qmf::QMF_OK) {
      AddMissing(qmf::kAudioChannelCount, qmf::kPropertyCount, step, "the query fails");
      return;
    }
    AddNumber(qmf::kAudioChannelCount, step, format.channels, "channel(s)");
    AddNumber(qmf::kAudioSampleRate, step, format.samplesPerSec, "Hz");
    AddNumber(qmf::kAudioSampleSize, step, format.bitsPerSample, "bit");
  }

  void AddNumber(qmf::PropertyId property, const Step& step, std::uint32_t exact, const char* unit) {
    Add(property, step, fmt::format("{} {}", exact, unit), LowBits(exact, m_values[property].value_or(0)));
  }

  MediaFile m_file;
  qmf::PropertyValues m_values;
  Explanation m_explanation;
};

}  // namespace

Explanation Explain(const std::u16string& path) {
  return Explainer(path).Run();
}

}  // namespace qmfinfo
