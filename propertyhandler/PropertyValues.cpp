#include "propertyhandler/PropertyValues.h"

#include "framework/QueryIds.h"

namespace qmf {
namespace {

// Rounded to whole frames a second, then reckoned in 16 bits: 30000/1001 gives 30000 and 120/1 gives 54464.
// Kept: everything that shows these values expects them so.
std::uint16_t FrameRate(const QMFVideoFormat& format) {
  const double framesPerSecond = static_cast<double>(format.rate) / static_cast<double>(format.scale) + 0.5;
  return static_cast<std::uint16_t>(static_cast<std::uint64_t>(framesPerSecond) * 1000);
}

void AddDuration(QMFContainer* container, PropertyValues& values) {
  QMFQueryData data;
  if (GetInfo(container, QMF_QID_TITLE_DURATION, &data, 0) == QMF_OK) values[kMediaDuration] = data.value;
}

template <class Format>
std::optional<Format> ReadFormat(QMFContainer* container, QMFQueryId qid) {
  Format format{};
  QMFQueryData data;
  data.size = sizeof(format);
  data.pointer = &format;
  if (GetInfo(container, qid, &data, 0) != QMF_OK) return std::nullopt;
  return format;
}

void AddVideo(QMFContainer* container, PropertyValues& values) {
  const auto format = ReadFormat<QMFVideoFormat>(container, QMF_QID_VID_STREAM_FORMAT);
  if (!format) return;
  values[kVideoFrameWidth] = static_cast<std::uint16_t>(format->width);
  values[kVideoFrameHeight] = static_cast<std::uint16_t>(format->height);
  if (format->scale != 0) values[kVideoFrameRate] = FrameRate(*format);
}

void AddAudio(QMFContainer* container, PropertyValues& values) {
  const auto format = ReadFormat<QMFAudioFormat>(container, QMF_QID_AUD_STREAM_FORMAT);
  if (!format) return;
  values[kAudioChannelCount] = format->channels;
  // The low 16 bits only: 96000 Hz shows as 30464.
  values[kAudioSampleRate] = static_cast<std::uint16_t>(format->samplesPerSec);
  values[kAudioSampleSize] = format->bitsPerSample;
}

}  // namespace

PropertyValues ReadPropertyValues(QMFContainer* container) {
  PropertyValues values;
  AddDuration(container, values);
  if (SetTitleActiveStream(container, kBlockVideo, 0, 1) != QMF_OK) return values;
  AddVideo(container, values);
  AddAudio(container, values);
  return values;
}

}  // namespace qmf
