#pragma once

#include <string>

#include "framework/FileReader.h"
#include "framework/ModuleTable.h"
#include "framework/QueryIds.h"
#include "tests/support/AtomBuilder.h"

namespace qmf::test {

/// A source that counts the read calls it gets.
class CountingSource : public MemoryFileSource {
 public:
  using MemoryFileSource::MemoryFileSource;
  std::size_t ReadAt(std::uint64_t offset, void* destination, std::size_t count) noexcept override {
    ++reads;
    return MemoryFileSource::ReadAt(offset, destination, count);
  }
  int reads = 0;
};

/// Bytes opened by the MP4 module, through its entry points.
class Mp4TestFile {
 public:
  explicit Mp4TestFile(Bytes bytes)
      : m_bytes(std::move(bytes)),
        m_source(std::make_shared<CountingSource>(m_bytes)),
        m_scope(kName, std::make_shared<FileReader>(m_source)) {}
  Mp4TestFile(const Mp4TestFile&) = delete;
  Mp4TestFile& operator=(const Mp4TestFile&) = delete;
  ~Mp4TestFile() {
    if (m_handle != nullptr) (void)Slots().CloseContainer(m_handle);
  }

  static const QMFModuleEntryPoints& Slots() { return *FindModule(kModuleMp4)->entryPoints; }

  std::int32_t Score() {
    std::int32_t score = -1;
    return Slots().ProbeContainer(&score, kName, nullptr) == QMF_OK ? score : -1;
  }

  /// Opens the file and selects its title.
  QMFResult Open() {
    const QMFResult result = Slots().OpenContainer(&m_handle, kName, nullptr);
    return result == QMF_OK ? Slots().SetTitle(m_handle, 0) : result;
  }

  QMFModuleHandle Handle() const { return m_handle; }
  int Reads() const { return m_source->reads; }

  /// The answer of a number query; all ones when it fails.
  std::uint64_t Number(std::uint32_t qid, std::uint32_t index = 0) {
    QMFQueryData data;
    return Slots().GetInfo(m_handle, qid, &data, index) == QMF_OK ? data.value : UINT64_MAX;
  }

  template <class Record>
  QMFResult ReadRecord(std::uint32_t qid, Record& record, std::uint32_t index = 0) {
    QMFQueryData data;
    data.size = sizeof(record);
    data.pointer = &record;
    return Slots().GetInfo(m_handle, qid, &data, index);
  }

  QMFVideoFormat Video(std::uint32_t index = 0) {
    QMFVideoFormat format{};
    return ReadRecord(QMF_QID_VID_STREAM_FORMAT, format, index) == QMF_OK ? format : QMFVideoFormat{};
  }
  QMFAudioFormat Audio(std::uint32_t index = 0) {
    QMFAudioFormat format{};
    return ReadRecord(QMF_QID_AUD_STREAM_FORMAT, format, index) == QMF_OK ? format : QMFAudioFormat{};
  }

  std::u16string Text(std::uint32_t qid, std::uint32_t index = 0) {
    char16_t buffer[256] = {};
    QMFQueryData data;
    data.size = sizeof(buffer);
    data.pointer = buffer;
    return Slots().GetInfo(m_handle, qid, &data, index) == QMF_OK ? std::u16string(buffer) : u"(failed)";
  }

 private:
  static constexpr char16_t kName[] = u"test.mp4";

  const Bytes m_bytes;
  std::shared_ptr<CountingSource> m_source;
  SharedFileScope m_scope;
  QMFModuleHandle m_handle = nullptr;
};

}  // namespace qmf::test
