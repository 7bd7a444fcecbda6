#include "readers/mp4/Mp4Texts.h"

#include <algorithm>
#include <string_view>

#include "framework/Text.h"

namespace qmf {
namespace {

// What a walk over user data looks for.
struct Search {
  CMP4Texts texts;
  CMP4Bytes name;
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

// 'data' of iTunes-style metadata: type and locale in front of the text.
template <auto member>
AtomVerdict ReadData(Search& search, CMP4Atom& atom) {
  constexpr std::uint64_t kHeader = 8;
  Keep(At(search, member), atom.payload + kHeader, atom.end);
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

template <auto member>
AtomVerdict ReadPlainText(Search& search, CMP4Atom& atom) {
  Keep(At(search, member), atom.payload, atom.end);
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

constexpr Row kTitleRows[] = {{MakeFourCC("data"), kOptional, ReadData<&CMP4Texts::title>}};
constexpr Row kEncoderRows[] = {{MakeFourCC("data"), kOptional, ReadData<&CMP4Texts::encoder>}};
constexpr Row kListRows[] = {
    {kTitle, kOptional, nullptr, kTitleRows},
    {kEncoder, kOptional, nullptr, kEncoderRows},
};
constexpr Row kMetaRows[] = {{MakeFourCC("ilst"), kOptional, nullptr, kListRows}};
constexpr Row kUserDataRows[] = {
    {MakeFourCC("meta"), kOptional, BeginMeta, kMetaRows},
    {kTitle, kOptional, ReadUserText<&CMP4Texts::title>},
    {kSoftware, kOptional, ReadUserText<&CMP4Texts::encoder>},
    {kEncoder, kOptional, ReadUserText<&CMP4Texts::encoder>},
    {MakeFourCC("name"), kOptional, ReadPlainText<&Search::name>},
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
  texts = search.texts;
}

std::u16string ReadText(FileReader& file, const CMP4Bytes& bytes) {
  const auto read = file.View(bytes.begin, static_cast<std::size_t>(std::min(bytes.size, kMaxText)));
  const std::string_view text(reinterpret_cast<const char*>(read.data()), read.size());
  return ToUtf16(text.substr(0, text.find('\0')));
}

std::u16string TrackNameOf(const CMP4TrackContext& context) {
  FileReader& file = *context.movie.file;
  Search search;
  Walk(file, context.track.userData, search);
  return search.name.size > 0 ? ReadText(file, search.name) : HandlerName(file, context.track.handlerName);
}

}  // namespace qmf
