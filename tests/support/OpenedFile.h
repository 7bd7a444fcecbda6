#pragma once

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "framework/FileReader.h"
#include "framework/ModuleInterface.h"
#include "framework/QueryIds.h"

namespace qmf::test {

/// What a block call gave. Equal are blocks of the same bytes at the same place.
struct ReadBlock {
  std::uint32_t blockType = 0;
  std::uint32_t stream = 0;
  std::int64_t time = 0;
  std::vector<std::uint8_t> bytes;
  QMFBlock::KeyState key = QMFBlock::kUnknown;
  std::int64_t endTime = 0;
  std::int64_t compositionOffset = 0;
  std::uint32_t required = 0;
  QMFResult result = QMF_OK;
};
bool operator==(const ReadBlock& a, const ReadBlock& b);
void PrintTo(const ReadBlock& block, std::ostream* out);

/// Bytes of a test's own as a file that outlives its maker, with a count of the reads.
class BytesSource : public FileSource {
 public:
  explicit BytesSource(std::vector<std::uint8_t> bytes) : m_bytes(std::move(bytes)) {}
  std::size_t ReadAt(std::uint64_t offset, void* destination, std::size_t count) noexcept override {
    ++reads;
    return MemoryFileSource(m_bytes).ReadAt(offset, destination, count);
  }
  std::uint64_t Size() const noexcept override { return m_bytes.size(); }

  int reads = 0;

 private:
  const std::vector<std::uint8_t> m_bytes;
};

template <class Bytes>
std::shared_ptr<BytesSource> SourceOf(const Bytes& bytes) {
  return std::make_shared<BytesSource>(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
}

/// What `module` bids for a file of that name; -1 when it cannot judge. Without a source the file is the
/// platform's, or that of a scope around the call.
std::int32_t Score(const QMFModuleDescriptor& module, const char16_t* name,
                   std::shared_ptr<FileSource> source = nullptr);

/// The numbers of the slots that a module fills.
std::vector<std::size_t> FilledSlots(const QMFModuleEntryPoints& slots);

/// A file opened by one module through its entry points. Beside it are the files that scopes name, no others.
class OpenedFile {
 public:
  OpenedFile(const QMFModuleDescriptor& module, std::shared_ptr<FileSource> source,
             QMFAllocator* memory = nullptr);
  template <class Bytes>
  OpenedFile(const QMFModuleDescriptor& module, const Bytes& bytes, QMFAllocator* memory = nullptr)
      : OpenedFile(module, std::shared_ptr<FileSource>(SourceOf(bytes)), memory) {}
  OpenedFile(const OpenedFile&) = delete;
  OpenedFile& operator=(const OpenedFile&) = delete;
  ~OpenedFile();

  /// What the module bid for the bytes, as it was asked before it opened them.
  std::int32_t Bid() const { return m_bid; }
  QMFResult OpenResult() const { return m_opened; }
  QMFModuleHandle Handle() const { return m_handle; }
  const QMFModuleEntryPoints& Module() const { return m_module; }
  std::uint64_t BytesRead() const { return m_reader->BytesRead(); }
  std::uint64_t Looks() const { return m_reader->Looks(); }

  QMFResult SetTitle(std::uint32_t index = 0);
  /// Selects title 0 and activates all of its streams; the result is the first failure's, else the title's.
  QMFResult Start();
  QMFResult Activate(std::uint32_t blockType, std::uint32_t stream = 0, bool active = true);

  /// The answer of a query that travels in `value`, or nothing when it fails.
  std::optional<std::uint64_t> Number(std::uint32_t qid, std::uint32_t index = 0, std::uint64_t value = 0);
  QMFResult Ask(std::uint32_t qid, std::uint32_t index = 0, std::uint64_t value = 0);
  QMFResult Tell(std::uint32_t qid, std::uint64_t value, std::uint32_t index = 0);
  /// The answer of a text query; nothing for the null answer, "(failed)" for an error.
  std::optional<std::u16string> Text(std::uint32_t qid, std::uint32_t index = 0);

  /// Asks for a record, which keeps what it holds where the answer says nothing.
  template <class Record>
  QMFResult Fill(std::uint32_t qid, Record& record, std::uint32_t index = 0) {
    return FillBytes(qid, &record, sizeof(record), index);
  }
  /// A record that must be there; else one of zeros.
  template <class Record>
  Record Format(std::uint32_t qid, std::uint32_t index = 0) {
    Record record{};
    return Fill(qid, record, index) == QMF_OK ? record : Record{};
  }
  QMFVideoFormat Video(std::uint32_t index = 0) {
    return Format<QMFVideoFormat>(QMF_QID_VID_STREAM_FORMAT, index);
  }
  QMFAudioFormat Audio(std::uint32_t index = 0) {
    return Format<QMFAudioFormat>(QMF_QID_AUD_STREAM_FORMAT, index);
  }
  QMFResult FillBytes(std::uint32_t qid, void* destination, std::size_t size, std::uint32_t index = 0);

  ReadBlock Next(std::uint32_t capacity = 1 << 17);
  ReadBlock NextOf(std::uint32_t blockType, std::uint32_t stream = 0, std::uint32_t capacity = 1 << 17);
  /// All blocks up to the first failure, whose result goes to `end`.
  std::vector<ReadBlock> Rest(QMFResult* end = nullptr);
  std::vector<ReadBlock> RestOf(std::uint32_t blockType, std::uint32_t stream = 0);

  /// Where SetPosition landed; -1 when it failed.
  std::int64_t Seek(std::uint32_t blockType, std::int64_t time, std::uint32_t stream = 0);

 private:
  const QMFModuleEntryPoints& m_module;
  const std::shared_ptr<FileReader> m_reader;
  const SharedFileScope m_named;
  QMFModuleHandle m_handle = nullptr;
  std::int32_t m_bid;
  QMFResult m_opened;
  std::vector<std::uint8_t> m_buffer;
};

/// A file that was opened and started.
struct StartedFile : OpenedFile {
  template <class Content>
  StartedFile(const QMFModuleDescriptor& module, const Content& content)
      : OpenedFile(module, content), result(Start()) {}

  const QMFResult result;
};

}  // namespace qmf::test
