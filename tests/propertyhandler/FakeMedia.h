#pragma once

#include <cstdint>

#include "framework/ResultCodes.h"

namespace qmf::test {

/// A media file as fake module 1 tells it: what the property handler asks for, each with its own result.
struct FakeMedia {
  std::uint64_t duration = 54'000'000'000;
  std::uint32_t rate = 25;
  std::uint32_t scale = 1;
  std::uint32_t width = 1920;
  std::uint32_t height = 1080;
  std::uint16_t channels = 2;
  std::uint32_t samplesPerSec = 48000;
  std::uint16_t bitsPerSample = 16;

  QMFResult openResult = QMF_OK;
  QMFResult titleResult = QMF_OK;
  QMFResult durationResult = QMF_OK;
  QMFResult activationResult = QMF_OK;
  QMFResult videoResult = QMF_OK;
  QMFResult audioResult = QMF_OK;
};

/// Lets fake module 1 win every file from now on, with these answers. Resets the fakes.
void Serve(const FakeMedia& media);

}  // namespace qmf::test
