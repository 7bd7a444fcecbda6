#include "readers/mp4/Mp4Texts.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

#include "framework/Text.h"

namespace qmf {
namespace {

// Names that 'keys' gives to texts.
struct KeyedText {
  std::string_view name;
  CMP4Bytes CMP4Texts::*text;
};
constexpr KeyedText kKeyedTexts[] = {
    {"title", &CMP4Texts::title},
    {"com.apple.quicktime.title", &CMP4Texts::title},
    {"encoder", &CMP4Texts::encoder},
    {"com.apple.quicktime.software", &CMP4Texts::encoder},
};

// What a walk over user data looks for.
struct Search {
  CMP4Texts texts;
  CMP4Bytes name;
  std::array<FourCC, std::size(kKeyedTexts)> keys{};  ///< Types of the keyed texts' atoms; 0 when not named.
};

CMP4Bytes& At(Search& search, CMP4Bytes CMP4Texts::*member) {
  return search.texts.*member;
}
CMP4Bytes& At(Search& search, CMP4Bytes Search::*member) {
  return search.*member;
}

void Keep(CMP4Bytes& kept, std::uint64_t begin, std::uint64_t end) {
  if (kept.size == 0 && begin < end) kept = {begin, end - begin};
}

// Bytes in front of a text: type and locale in 'data' of iTunes-style metadata, version, flags and language
// in 3GPP's atoms.
constexpr std::uint64_t kDataHeader = 8;
constexpr std::uint64_t kAssetHeader = 6;

template <auto member, std::uint64_t header = 0>
AtomVerdict FindText(Search& search, CMP4Atom& atom) {
  Keep(At(search, member), atom.payload + header, atom.end);
  return AtomVerdict::kTaken;
}

// QuickTime's user-data text: its length and language in front; more languages may follow.
template <auto member>
AtomVerdict ReadUserText(Search& search, CMP4Atom& atom) {
  constexpr std::uint64_t kHeader = 4;
  CMP4Fields fields = atom.Fields();
  const std::uint64_t begin = atom.payload + kHeader;
  Keep(At(search, member), begin, std::min(atom.end, begin + fields.U16()));
  return AtomVerdict::kTaken;
}

// As the type of an atom, a number stands in its big-endian bytes.
constexpr FourCC TypeOfNumber(std::uint32_t number) {
  return number >> 24 | (number >> 8 & 0xFF00) | (number << 8 & 0xFF0000) | number << 24;
}

// 'keys' names the children of the 'ilst' behind it, whose types are numbers from 1 on.
AtomVerdict ReadKeys(Search& search, CMP4Atom& atom) {
  constexpr std::size_t kHeader = 8;
  CMP4Fields fields = atom.AllFields();
  fields.Skip(kHeader);
  for (std::uint32_t number = 1; !fields.Failed(); ++number) {
    const std::uint32_t size = fields.U32();
    if (size < kHeader) break;
    fields.Skip(4);  // The namespace.
    const std::span<const std::uint8_t> bytes = fields.Take(size - kHeader);
    const std::string_view name(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const auto found = std::ranges::find(kKeyedTexts, name, &KeyedText::name);
    if (found != std::end(kKeyedTexts))
      search.keys[static_cast<std::size_t>(found - kKeyedTexts)] = TypeOfNumber(number);
  }
  return AtomVerdict::kTaken;
}

AtomVerdict ReadKeyedTexts(Search& search, CMP4Atom& list) {
  constexpr int kMostItems = 1024;
  CMP4Atom item{};
  std::uint64_t at = list.payload;
  for (int i = 0; i < kMostItems && ReadAtomHeader(*list.file, at, list.end, false, item);
       ++i, at = item.end) {
    const auto key = std::ranges::find(search.keys, item.type);
    CMP4Atom data{};
    if (item.type == 0 || key == search.keys.end()) continue;
    if (!ReadAtomHeader(*list.file, item.payload, item.end, false, data)) continue;
    if (data.type != MakeFourCC("data")) continue;
    Keep(search.texts.*kKeyedTexts[static_cast<std::size_t>(key - search.keys.begin())].text,
         data.payload + kDataHeader, data.end);
  }
  return AtomVerdict::kTaken;
}

// An ISO 'meta' has version and flags, QuickTime's has not.
AtomVerdict BeginMeta(Search&, CMP4Atom& atom) {
  CMP4Fields fields = atom.Fields();
  fields.Skip(4);
  if (fields.Code() != MakeFourCC("hdlr")) atom.payload = std::min(atom.payload + 4, atom.end);
  return AtomVerdict::kTaken;
}

using Row = AtomRow<Search>;
using enum AtomUse;

constexpr FourCC kTitle = MakeFourCC("\251nam");
constexpr FourCC kEncoder = MakeFourCC("\251too");
constexpr FourCC kSoftware = MakeFourCC("\251swr");

constexpr Row kTitleRows[] = {{MakeFourCC("data"), kOptional, FindText<&CMP4Texts::title, kDataHeader>}};
constexpr Row kEncoderRows[] = {{MakeFourCC("data"), kOptional, FindText<&CMP4Texts::encoder, kDataHeader>}};
constexpr Row kListRows[] = {
    {kTitle, kOptional, nullptr, kTitleRows},
    {kEncoder, kOptional, nullptr, kEncoderRows},
};
constexpr Row kMetaRows[] = {
    {MakeFourCC("keys"), kOptional, ReadKeys},
    {MakeFourCC("ilst"), kOptional, ReadKeyedTexts, kListRows},
};
constexpr Row kUserDataRows[] = {
    {MakeFourCC("meta"), kOptional, BeginMeta, kMetaRows},
    {kTitle, kOptional, ReadUserText<&CMP4Texts::title>},
    {kSoftware, kOptional, ReadUserText<&CMP4Texts::encoder>},
    {kEncoder, kOptional, ReadUserText<&CMP4Texts::encoder>},
    {MakeFourCC("titl"), kOptional, FindText<&CMP4Texts::title, kAssetHeader>},
    {MakeFourCC("name"), kOptional, FindText<&Search::name>},
};

void Walk(FileReader& file, const CMP4Bytes& userData, Search& search) {
  CMP4AtomWalker walker(file);
  walker.Walk<Search>(search, kUserDataRows, userData.begin, userData.begin + userData.size);
}

// A handler's name is a C string, or QuickTime's with its length in front.
std::u16string HandlerName(FileReader& file, CMP4Bytes bytes) {
  const auto first = file.View(bytes.begin, 1);
  if (!first.empty() && bytes.size > 1 && first[0] == bytes.size - 1) {
    ++bytes.begin;
    --bytes.size;
  }
  return ReadText(file, bytes);
}

}  // namespace

void FindTexts(const CMP4MovieAtom& movie, CMP4Texts& texts) {
  Search search;
  Walk(*movie.file, movie.userData, search);
  Walk(*movie.file, movie.metadata, search);
  texts = search.texts;
}

std::u16string ReadText(FileReader& file, const CMP4Bytes& bytes) {
  const auto read = file.View(bytes.begin, static_cast<std::size_t>(std::min(bytes.size, kMaxText)));
  std::pmr::u16string text;
  AssignText(text, read);
  return std::u16string(std::u16string_view(text).substr(0, text.find(u'\0')));
}

void AssignText(std::pmr::u16string& out, std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kUnit = 2;
  const std::uint16_t mark = bytes.size() < kUnit ? 0 : LoadBE16(bytes.data());
  if (mark != 0xFEFF && mark != 0xFFFE) {
    AssignUtf16(out, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    return;
  }
  const auto load = mark == 0xFEFF ? LoadBE16 : LoadLE16;
  out.clear();
  out.reserve(bytes.size() / kUnit);
  for (std::size_t at = kUnit; at + kUnit <= bytes.size(); at += kUnit) {
    out.push_back(static_cast<char16_t>(load(bytes.data() + at)));
  }
}

std::u16string TrackNameOf(const CMP4TrackContext& context) {
  FileReader& file = *context.movie.file;
  Search search;
  Walk(file, context.track.userData, search);
  return search.name.size > 0 ? ReadText(file, search.name) : HandlerName(file, context.track.handlerName);
}

}  // namespace qmf
