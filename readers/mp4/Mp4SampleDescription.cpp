#include "readers/mp4/Mp4SampleDescription.h"

#include <bit>

#include "readers/mp4/Mp4Descriptors.h"

namespace qmf {
namespace {

struct Entry {
  CMP4SampleDescription& description;
};

// Keeps where the configuration lies; the first atom that has one wins.
AtomVerdict KeepConfig(Entry& entry, const CMP4Atom& atom, std::uint64_t begin, std::uint64_t size) {
  CMP4CodecConfig& config = entry.description.config;
  if (config.type != 0 || size == 0 || size > CMP4CodecConfig::kMaxSize) return AtomVerdict::kIgnored;
  config.type = atom.type;
  config.begin = begin;
  config.size = static_cast<std::uint32_t>(size);
  if (config.IsKept())
    config.size = static_cast<std::uint32_t>(atom.file->ReadAt(begin, config.front.data(), config.size));
  return AtomVerdict::kTaken;
}

AtomVerdict ReadConfig(Entry& entry, CMP4Atom& atom) {
  return KeepConfig(entry, atom, atom.payload, atom.Size());
}

AtomVerdict ReadFullConfig(Entry& entry, CMP4Atom& atom) {
  constexpr std::uint64_t kVersionAndFlags = 4;
  if (atom.Size() < kVersionAndFlags) return AtomVerdict::kIgnored;
  return KeepConfig(entry, atom, atom.payload + kVersionAndFlags, atom.Size() - kVersionAndFlags);
}

AtomVerdict ReadElementaryStream(Entry& entry, CMP4Atom& atom) {
  CMP4SampleDescription& description = entry.description;
  const std::uint64_t fullHeader = 4;
  CMP4Fields fields = atom.AllFields();
  fields.Skip(fullHeader);
  DecoderDescriptor decoder;
  if (!ReadDecoderDescriptor(fields.Rest(), decoder)) return AtomVerdict::kIgnored;
  description.elementaryStream = decoder.stream;
  const std::uint64_t begin = atom.payload + fullHeader + decoder.specificOffset;
  if (decoder.specificSize > 0) KeepConfig(entry, atom, begin, decoder.specificSize);
  return AtomVerdict::kTaken;
}

AtomVerdict ReadPixelAspect(Entry& entry, CMP4Atom& atom) {
  CMP4Fields fields = atom.Fields();
  entry.description.pixelAspectWidth = fields.U32();
  entry.description.pixelAspectHeight = fields.U32();
  return AtomVerdict::kTaken;
}

AtomVerdict ReadFields(Entry& entry, CMP4Atom& atom) {
  entry.description.interlaced = atom.Fields().U8() == 2;
  return AtomVerdict::kTaken;
}

AtomVerdict ReadBitrate(Entry& entry, CMP4Atom& atom) {
  CMP4Fields fields = atom.Fields();
  fields.Skip(8);
  entry.description.bitrate = fields.U32();
  return AtomVerdict::kTaken;
}

AtomVerdict ReadOriginalFormat(Entry& entry, CMP4Atom& atom) {
  CMP4Fields fields = atom.Fields();
  const FourCC format = fields.Code();
  if (!fields.Failed()) entry.description.format = format;
  return AtomVerdict::kTaken;
}

AtomVerdict ReadEndianness(Entry& entry, CMP4Atom& atom) {
  CMP4Fields fields = atom.Fields();
  entry.description.littleEndian = fields.U16() == 1;
  return AtomVerdict::kTaken;
}

AtomVerdict ReadPcmConfig(Entry& entry, CMP4Atom& atom) {
  CMP4Fields fields = atom.Fields();
  fields.Skip(4);
  entry.description.littleEndian = (fields.U8() & 1) != 0;
  entry.description.bitsPerSample = fields.U8();
  return AtomVerdict::kTaken;
}

AtomVerdict ReadSamplingRate(Entry& entry, CMP4Atom& atom) {
  CMP4Fields fields = atom.Fields();
  fields.Skip(4);
  entry.description.sampleRate = fields.U32();
  return AtomVerdict::kTaken;
}

using Row = AtomRow<Entry>;
using enum AtomUse;

constexpr Row kProtectionRows[] = {{MakeFourCC("frma"), kRequired, ReadOriginalFormat}};

constexpr Row kVideoRows[] = {
    {MakeFourCC("avcC"), kOptional, ReadConfig},
    {MakeFourCC("hvcC"), kOptional, ReadConfig},
    {MakeFourCC("av1C"), kOptional, ReadConfig},
    {MakeFourCC("vpcC"), kOptional, ReadFullConfig},
    {MakeFourCC("esds"), kOptional, ReadElementaryStream},
    {MakeFourCC("d263"), kOptional, ReadConfig},
    {MakeFourCC("glbl"), kOptional, ReadConfig},
    {MakeFourCC("pasp"), kOptional, ReadPixelAspect},
    {MakeFourCC("fiel"), kOptional, ReadFields},
    {MakeFourCC("btrt"), kOptional, ReadBitrate},
    {MakeFourCC("sinf"), kOptional, nullptr, kProtectionRows},
};

// QuickTime wraps what decoders need into 'wave'.
constexpr Row kWaveRows[] = {
    {MakeFourCC("frma"), kOptional, ReadOriginalFormat},   {MakeFourCC("enda"), kOptional, ReadEndianness},
    {MakeFourCC("esds"), kOptional, ReadElementaryStream}, {MakeFourCC("alac"), kOptional, ReadFullConfig},
    {MakeFourCC("dac3"), kOptional, ReadConfig},
};

constexpr Row kAudioRows[] = {
    {MakeFourCC("esds"), kOptional, ReadElementaryStream},
    {MakeFourCC("wave"), kOptional, nullptr, kWaveRows},
    {MakeFourCC("dac3"), kOptional, ReadConfig},
    {MakeFourCC("dec3"), kOptional, ReadConfig},
    {MakeFourCC("dOps"), kOptional, ReadConfig},
    {MakeFourCC("dfLa"), kOptional, ReadFullConfig},
    {MakeFourCC("alac"), kOptional, ReadFullConfig},
    {MakeFourCC("damr"), kOptional, ReadConfig},
    {MakeFourCC("pcmC"), kOptional, ReadPcmConfig},
    {MakeFourCC("enda"), kOptional, ReadEndianness},
    {MakeFourCC("srat"), kOptional, ReadSamplingRate},
    {MakeFourCC("btrt"), kOptional, ReadBitrate},
    {MakeFourCC("sinf"), kOptional, nullptr, kProtectionRows},
};

constexpr std::uint64_t kEntryHeader = 8;
constexpr std::uint64_t kVideoFields = 70;
constexpr std::uint64_t kAudioFields = 20;
constexpr std::uint64_t kQuickTimeV1Fields = 16;
constexpr std::uint64_t kQuickTimeV2Fields = 36;

// Added to the depth of gray pictures, up to 8 bits.
constexpr std::uint16_t kGray = 32;

bool ReadVideoFields(CMP4Fields& fields, CMP4SampleDescription& description) {
  fields.Skip(16);
  description.width = fields.U16();
  description.height = fields.U16();
  fields.Skip(4 + 4 + 4 + 2 + 32);
  const std::uint16_t depth = fields.U16();
  description.depth = depth > kGray && depth <= kGray + 8 ? depth - kGray : depth;
  return !fields.Failed();
}

// A sound description of version 2 repeats everything in wider fields.
void ReadQuickTimeV2(CMP4Fields& fields, CMP4SampleDescription& description) {
  fields.Skip(4);
  const auto rate = std::bit_cast<double>(fields.U64());
  description.sampleRate = rate >= 0 && rate < 4294967295.5 ? static_cast<std::uint32_t>(rate + 0.5) : 0;
  description.channels = fields.U32();
  fields.Skip(4);
  description.bitsPerSample = fields.U32();
  description.linearPcmFlags = fields.U32();
  description.bytesPerPacket = fields.U32();
  description.samplesPerPacket = fields.U32();
}

// Reads the fixed fields and gives their length. Versions 1 and 2 are QuickTime's, unless the whole 'stsd' is
// of version 1, where ISO's version 1 entries look like those of version 0.
std::uint64_t ReadAudioFields(CMP4Fields& fields, bool mayBeQuickTime, CMP4SampleDescription& description) {
  const std::uint16_t version = fields.U16();
  fields.Skip(6);
  description.channels = fields.U16();
  description.bitsPerSample = fields.U16();
  fields.Skip(4);
  description.sampleRate = fields.U32() >> 16;
  if (!mayBeQuickTime || version == 0 || version > 2) return kAudioFields;
  if (version == 2) {
    ReadQuickTimeV2(fields, description);
    return kAudioFields + kQuickTimeV2Fields;
  }
  description.samplesPerPacket = fields.U32();
  fields.Skip(4);
  description.bytesPerPacket = fields.U32();
  return kAudioFields + kQuickTimeV1Fields;
}

}  // namespace

bool ReadSampleDescription(const CMP4Atom& stsd, FourCC handler, CMP4SampleDescription& description) {
  CMP4Atom atom{};
  const bool isVersion0 = stsd.Fields().U8() == 0;
  if (!ReadAtomHeader(*stsd.file, stsd.payload + 8, stsd.end, false, atom)) return false;
  CMP4Fields fields = atom.Fields();
  description.format = atom.type;
  fields.Skip(6);
  description.dataReference = fields.U16();
  Entry entry{description};
  CMP4AtomWalker walker(*stsd.file);
  if (handler == MakeFourCC("vide")) {
    if (!ReadVideoFields(fields, description)) return false;
    return walker.Walk<Entry>(entry, kVideoRows, atom.payload + kEntryHeader + kVideoFields, atom.end);
  }
  if (handler == MakeFourCC("soun")) {
    const std::uint64_t fixed = ReadAudioFields(fields, isVersion0, description);
    if (fields.Failed()) return false;
    return walker.Walk<Entry>(entry, kAudioRows, atom.payload + kEntryHeader + fixed, atom.end);
  }
  return !fields.Failed();
}

}  // namespace qmf
