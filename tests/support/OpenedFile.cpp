#include "tests/support/OpenedFile.h"

#include <tuple>

#include "tests/support/KeepFile.h"

namespace qmf::test {
namespace {

constexpr char16_t kName[] = u"test";

}  // namespace

bool operator==(const ReadBlock& a, const ReadBlock& b) {
  return std::tie(a.blockType, a.stream, a.time, a.bytes, a.key) ==
         std::tie(b.blockType, b.stream, b.time, b.bytes, b.key);
}

void PrintTo(const ReadBlock& block, std::ostream* out) {
  *out << block.blockType << ":" << block.stream << " at " << block.time << ", " << block.bytes.size()
       << " bytes, key " << int{block.key};
}

std::int32_t Score(const QMFModuleDescriptor& module, const char16_t* name,
                   std::shared_ptr<FileSource> source) {
  std::int32_t score = -1;
  const auto probe = [&] { return module.entryPoints->ProbeContainer(&score, name, nullptr); };
  std::optional<SharedFileScope> named;
  if (source != nullptr) named.emplace(name, std::make_shared<FileReader>(std::move(source)));
  return probe() == QMF_OK ? score : -1;
}

std::vector<std::size_t> FilledSlots(const QMFModuleEntryPoints& slots) {
  const auto* const pointers = reinterpret_cast<void* const*>(&slots);
  std::vector<std::size_t> filled;
  for (std::size_t i = 0; i < kModuleSlotCount; ++i) {
    if (pointers[i] != nullptr) filled.push_back(i);
  }
  return filled;
}

OpenedFile::OpenedFile(const QMFModuleDescriptor& module, std::shared_ptr<FileSource> source,
                       QMFAllocator* memory)
    : m_module(*module.entryPoints),
      m_reader(std::make_shared<FileReader>(source)),
      m_named(kName, m_reader) {
  KeepFile(*source, module.moduleId);
  m_bid = Score(module, kName);
  m_opened = m_module.OpenContainer(&m_handle, kName, memory);
}

OpenedFile::~OpenedFile() {
  if (m_handle != nullptr) (void)m_module.CloseContainer(m_handle);
}

QMFResult OpenedFile::SetTitle(std::uint32_t index) {
  return m_opened == QMF_OK ? m_module.SetTitle(m_handle, index) : m_opened;
}

QMFResult OpenedFile::Start() {
  const QMFResult selected = SetTitle();
  if (IsFailure(selected)) return selected;
  for (const std::uint32_t blockType : {kBlockVideo, kBlockAudio, kBlockSubtitle}) {
    for (std::uint32_t stream = 0; Activate(blockType, stream) == QMF_OK;) ++stream;
  }
  return selected;
}

QMFResult OpenedFile::Activate(std::uint32_t blockType, std::uint32_t stream, bool active) {
  return m_module.SetTitleActiveStream(m_handle, blockType, stream, active ? 1 : 0);
}

std::optional<std::uint64_t> OpenedFile::Number(std::uint32_t qid, std::uint32_t index, std::uint64_t value) {
  QMFQueryData data;
  data.value = value;
  if (m_module.GetInfo(m_handle, qid, &data, index) != QMF_OK || data.type != ValueKindOf(qid)) return {};
  return data.value;
}

QMFResult OpenedFile::Ask(std::uint32_t qid, std::uint32_t index, std::uint64_t value) {
  QMFQueryData data;
  data.value = value;
  return m_module.GetInfo(m_handle, qid, &data, index);
}

QMFResult OpenedFile::Tell(std::uint32_t qid, std::uint64_t value, std::uint32_t index) {
  QMFQueryData data;
  data.value = value;
  return m_module.SetInfo(m_handle, qid, &data, index);
}

std::optional<std::u16string> OpenedFile::Text(std::uint32_t qid, std::uint32_t index) {
  char16_t text[256];
  QMFQueryData data;
  data.size = sizeof(text);
  data.pointer = text;
  if (m_module.GetInfo(m_handle, qid, &data, index) != QMF_OK) return u"(failed)";
  if (data.size == 0) return {};
  return std::u16string(text, data.size / sizeof(char16_t) - 1);
}

QMFResult OpenedFile::FillBytes(std::uint32_t qid, void* destination, std::size_t size, std::uint32_t index) {
  QMFQueryData data;
  data.size = static_cast<std::uint32_t>(size);
  data.pointer = destination;
  return m_module.GetInfo(m_handle, qid, &data, index);
}

namespace {

template <class Call>
ReadBlock ReadInto(std::vector<std::uint8_t>& buffer, std::uint32_t capacity, Call&& call) {
  buffer.resize(std::max<std::size_t>(buffer.size(), capacity + std::size_t{1}));
  ReadBlock read;
  QMFBlock block;
  block.data = buffer.data();
  block.capacity = capacity;
  read.result = call(read, block);
  read.bytes.assign(buffer.data(), buffer.data() + block.size);
  read.key = block.key;
  read.endTime = block.endTime;
  read.compositionOffset = block.compositionOffset;
  read.required = block.required;
  return read;
}

template <class Read>
std::vector<ReadBlock> ReadUntilFailure(QMFResult* end, Read&& read) {
  std::vector<ReadBlock> blocks;
  for (;;) {
    ReadBlock block = read();
    if (end != nullptr) *end = block.result;
    if (block.result != QMF_OK) return blocks;
    blocks.push_back(std::move(block));
  }
}

}  // namespace

ReadBlock OpenedFile::Next(std::uint32_t capacity) {
  return ReadInto(m_buffer, capacity, [&](ReadBlock& read, QMFBlock& block) {
    return m_module.ReadNextBlock(m_handle, &read.blockType, &read.stream, &block, &read.time);
  });
}

ReadBlock OpenedFile::NextOf(std::uint32_t blockType, std::uint32_t stream, std::uint32_t capacity) {
  return ReadInto(m_buffer, capacity, [&](ReadBlock& read, QMFBlock& block) {
    read.blockType = blockType;
    read.stream = stream;
    return m_module.ReadNextBlockByStream(m_handle, blockType, stream, &block, &read.time);
  });
}

std::vector<ReadBlock> OpenedFile::Rest(QMFResult* end) {
  return ReadUntilFailure(end, [this] { return Next(); });
}

std::vector<ReadBlock> OpenedFile::RestOf(std::uint32_t blockType, std::uint32_t stream) {
  return ReadUntilFailure(nullptr, [&] { return NextOf(blockType, stream); });
}

std::int64_t OpenedFile::Seek(std::uint32_t blockType, std::int64_t time, std::uint32_t stream) {
  return m_module.SetPosition(m_handle, blockType, stream, &time) == QMF_OK ? time : -1;
}

}  // namespace qmf::test
