#pragma once

#include <cstdint>
#include <string>

namespace qmfinfo {

/// "1:30:00.000" of a time in 100-ns units, cut to milliseconds.
std::string DurationText(std::uint64_t duration);

/// "23.976 fps", "25 fps" of rate / scale frames a second; `scale` is not 0.
std::string FrameRateText(std::uint32_t rate, std::uint32_t scale);

/// "44.1 kHz".
std::string SampleRateText(std::uint32_t hertz);

/// A file's name on a terminal: control characters, which may be commands to it, are U+FFFD.
std::string PathText(std::u16string path);

/// "1 channel", "2 channels".
std::string CountText(std::uint64_t count, const char* thing);

}  // namespace qmfinfo
