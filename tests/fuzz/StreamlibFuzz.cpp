// The bit reader beside the slow one, and every header parser, over one input. The first byte chooses.

#include <algorithm>
#include <memory>
#include <span>

#include "streamlib/AACHdrAudioSpecificConfig.h"
#include "streamlib/AvcConfiguration.h"
#include "streamlib/BitstreamReader.h"
#include "streamlib/H264AccessUnits.h"
#include "tests/streamlib/SlowBitReader.h"
#include "tests/support/Contract.h"

namespace qmf::fuzz {
namespace {

using test::Require;
using Bytes = std::span<const std::uint8_t>;

std::int32_t SizeOf(Bytes bytes) {
  return static_cast<std::int32_t>(bytes.size());
}

// The steps to take come from the input's first half, the bits from its second.
void CompareReaders(Bytes input, bool strip) {
  const Bytes steps = input.first(input.size() / 2);
  const Bytes bits = input.subspan(steps.size());
  SPL::BitstreamReader fast(strip);
  fast.Init(bits.data(), SizeOf(bits));
  test::SlowBitReader slow(bits, strip);
  for (const std::uint8_t step : steps) {
    const std::uint32_t width = step % 33;
    switch (step / 33 % 3) {
      case 0:
        Require(fast.ReadUE() == slow.ReadUE(), "the same Exp-Golomb code");
        break;
      case 1:
        fast.SkipBits(width);
        slow.SkipBits(width);
        break;
      default:
        if (width > 0) Require(fast.ReadBits(width) == slow.ReadBits(width), "the same bits");
    }
    Require(fast.IsUnderrun() == slow.IsUnderrun(), "an underrun at the same place");
  }
}

// Units are cut at bytes of 0xB5, which cost the inputs nothing.
void ParseUnits(Bytes input) {
  SPL_H264::H264AccessUnits units;
  bool any = false;
  while (!input.empty()) {
    std::size_t size = 0;
    while (size < input.size() && input[size] != 0xB5) ++size;
    const auto unit = std::make_unique<std::uint8_t[]>(size);
    std::ranges::copy(input.first(size), unit.get());
    Require(!units.Add(unit.get(), static_cast<std::int32_t>(size)) || any,
            "nothing begins before a first unit");
    any = any || size > 0;
    input = input.subspan(std::min(size + 1, input.size()));
  }
}

void ParseSequenceSet(Bytes input) {
  SPL_H264::H264HdrSeqParSet sps;
  const bool parsed = sps.Parse(input.data(), SizeOf(input));
  Require(parsed == sps.IsValid(), "validity is the result");
  if (!parsed) return;
  Require(sps.nal_unit_type == 7 && sps.seq_parameter_set_id <= 31 && sps.pic_order_cnt_type <= 2,
          "sound ids");
  Require(sps.chroma_format_idc <= 3 && sps.bit_depth_luma_minus8 <= 4 && sps.log2_max_frame_num_minus4 <= 28,
          "sound limits");
  SPL_H264::H264Stream stream;
  stream.Keep(sps);
  Require(stream.ActiveSequence() != nullptr, "a kept set is found");
}

void ParseAudio(Bytes input) {
  SPL_AAC::AACHdrAudioSpecificConfig config;
  Require(config.Parse(input.data(), SizeOf(input)) == config.IsValid(), "validity is the result");
  SPL_AAC::AACHdrADTS header;
  if (!header.Parse(input.data(), SizeOf(input))) return;
  Require(header.frame_length >= header.HeaderSize() && header.SampleRate() != 0, "a sound header");
  std::uint32_t channels = 0;
  const auto made = SPL_AAC::MakeAudioSpecificConfig(header, input.data(), SizeOf(input), channels);
  Require(made.size >= 2 && made.size <= SPL_AAC::AACConfigBytes::kCapacity, "a config of a sound size");
  if (channels == 0) return;  // Without a layout no reader takes the config.
  Require(config.Parse(made.bytes, static_cast<std::int32_t>(made.size)),
          "a config that is made can be read");
  Require(config.channels == channels && config.sampling_frequency == header.SampleRate(),
          "and says the same");
}

void ParseConfiguration(Bytes input) {
  for (const Bytes set : {SPL::FirstSequenceParameterSet(input), SPL::FirstPictureParameterSet(input)}) {
    Require(
        set.empty() || (set.data() > input.data() && set.data() + set.size() <= input.data() + input.size()),
        "a set within the record");
  }
}

void Run(Bytes input) {
  if (input.empty()) return;
  // As large as it is, so that the sanitizer sees the first byte too many.
  const std::size_t size = input.size() - 1;
  const auto copy = std::make_unique<std::uint8_t[]>(size);
  std::ranges::copy(input.subspan(1), copy.get());
  const Bytes bytes(copy.get(), size);
  switch (input[0] % 6) {
    case 0:
    case 1:
      return CompareReaders(bytes, input[0] % 6 == 1);
    case 2:
      return ParseUnits(bytes);
    case 3:
      return ParseSequenceSet(bytes);
    case 4:
      return ParseAudio(bytes);
    default:
      return ParseConfiguration(bytes);
  }
}

}  // namespace
}  // namespace qmf::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qmf::fuzz::Run({data, size});
  return 0;
}
