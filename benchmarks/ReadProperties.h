#pragma once

#include <string>

#include "framework/QueryIds.h"
#include "framework/Text.h"
#include "propertyhandler/PropertyValues.h"

namespace qmf::bench {

/// Opens a file and selects its title; null when that fails.
inline QMFContainer* OpenFilm(const std::string& file) {
  QMFContainer* container = nullptr;
  if (OpenContainer(&container, PathFromBytes(file).c_str(), nullptr) != QMF_OK) return nullptr;
  if (SetTitle(container, 0) == QMF_OK) return container;
  (void)CloseContainer(container);
  return nullptr;
}

/// The road of the Shell object, from opening a file to closing it.
inline bool ReadProperties(const std::string& file) {
  QMFContainer* const container = OpenFilm(file);
  if (container == nullptr) return false;
  (void)ReadPropertyValues(container);
  return CloseContainer(container) == QMF_OK;
}

/// All but the duration, which streams without index or header can only count.
inline bool ReadFormats(const std::string& file) {
  QMFContainer* const container = OpenFilm(file);
  if (container == nullptr) return false;
  QMFVideoFormat video{};
  QMFAudioFormat audio{};
  QMFQueryData data;
  data.size = sizeof(video);
  data.pointer = &video;
  (void)SetTitleActiveStream(container, kBlockVideo, 0, 1);
  (void)GetInfo(container, QMF_QID_VID_STREAM_FORMAT, &data, 0);
  data.pointer = &audio;
  (void)GetInfo(container, QMF_QID_AUD_STREAM_FORMAT, &data, 0);
  return CloseContainer(container) == QMF_OK;
}

}  // namespace qmf::bench
