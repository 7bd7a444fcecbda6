#include "streamlib/H264NalUnit.h"

namespace SPL_H264 {

const char* NalUnitTypeName(std::uint8_t type) {
  static constexpr const char* kNames[32] = {
      "unspec",      "non-idr slice",
      "partition a", "partition b",
      "partition c", "idr slice",
      "sei",         "sps",
      "pps",         "aud",
      "end seq",     "end stream",
      "filler",      "sps ext",
      "14",          "15",
      "16",          "17",
      "18",          "19",
      "20",          "21",
      "22",          "23",
      "24",          "25",
      "26",          "27",
      "28",          "29",
      "30",          "31",
  };
  return kNames[type & 0x1F];
}

}  // namespace SPL_H264
