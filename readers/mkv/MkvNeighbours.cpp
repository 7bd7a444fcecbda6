#include "readers/mkv/MkvNeighbours.h"

#include <algorithm>
#include <utility>

#include "framework/Folder.h"
#include "framework/PathSplitter.h"
#include "readers/mkv/MkvSegment.h"

namespace qmf {
namespace {

constexpr std::size_t kMostEntriesListed = 4096;
// Files that are opened, for their UID or for good: as many as a title may have segments.
constexpr std::size_t kMostOpened = 100;
// Of each file that is asked for its UID.
constexpr EbmlLimits kLimits = {.elements = 1000, .bytesRead = 32U << 10, .bytesKept = 16U << 10};

char16_t Lower(char16_t unit) {
  return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit - u'A' + u'a') : unit;
}

bool SameName(std::u16string_view a, std::u16string_view b) {
  return std::ranges::equal(a, b, {}, Lower, Lower);
}

bool IsMatroskaName(std::u16string_view name) {
  const std::u16string_view extension = PathExtension(name);
  return SameName(extension, u".mkv") || SameName(extension, u".qf3");
}

std::size_t CommonPrefix(std::u16string_view a, std::u16string_view b) {
  return static_cast<std::size_t>(std::ranges::mismatch(a, b).in1 - a.begin());
}

}  // namespace

MkvNeighbours::MkvNeighbours(std::u16string_view path, QMFAllocator* memory)
    : m_memory(memory), m_path(path, memory), m_opensLeft(kMostOpened), m_files(memory) {}

// The parts of a work have names that begin alike, so these come first; among equals the name decides, so
// that the limits strike the same files everywhere.
void MkvNeighbours::List() {
  if (m_listed) return;
  m_listed = true;
  const std::u16string_view own = std::u16string_view(m_path).substr(FolderOfPath(m_path).size());
  VisitFilesBeside(m_path, kMostEntriesListed, [&](std::u16string_view name) {
    if (IsMatroskaName(name) && name != own) m_files.emplace_back(name, m_memory);
    return true;
  });
  std::ranges::sort(m_files, [&](const File& a, const File& b) {
    const std::size_t ofA = CommonPrefix(a.name, own);
    const std::size_t ofB = CommonPrefix(b.name, own);
    return ofA != ofB ? ofA > ofB : a.name < b.name;
  });
}

void MkvNeighbours::ReadUid(File& file) {
  if (file.read) return;
  file.read = true;
  m_latest = Open(file);
  m_latestFile = &file;
  if (m_latest == nullptr) return;
  MkvSegment segment(m_latest, m_memory);
  if (ReadMkvSegmentInfo(segment, kLimits) == QMF_OK && segment.info) file.uid = segment.info->segmentUid;
}

const MkvNeighbours::File* MkvNeighbours::FindUid(const MkvSegmentUid& uid) {
  if (uid == MkvSegmentUid{}) return nullptr;
  List();
  for (File& file : m_files) {
    ReadUid(file);
    if (file.uid == uid) return &file;
  }
  m_latest.reset();
  return nullptr;
}

const MkvNeighbours::File* MkvNeighbours::FindName(std::u16string_view name) {
  List();
  const auto file =
      std::ranges::find_if(m_files, [&](const File& each) { return SameName(each.name, name); });
  return file == m_files.end() ? nullptr : &*file;
}

// Whoever found a file by its UID gets the reader that found it.
std::shared_ptr<FileReader> MkvNeighbours::Open(const File& file) {
  if (m_latestFile == &file && m_latest != nullptr) return std::move(m_latest);
  if (m_opensLeft == 0) return nullptr;
  --m_opensLeft;
  std::pmr::u16string path(FolderOfPath(m_path), m_memory);
  path += file.name;
  std::shared_ptr<FileReader> reader;
  return FileReader::Open(path.c_str(), m_memory, reader) == QMF_OK ? reader : nullptr;
}

}  // namespace qmf
