#pragma once

#include <cstdint>
#include <memory_resource>
#include <optional>
#include <string>
#include <vector>

#include "framework/FileReader.h"
#include "readers/mkv/EbmlElements.h"

namespace qmf {

/// An element of a file: where its header and payload stand.
struct EbmlElement {
  /// `end` of an element of unknown size.
  static constexpr std::uint64_t kOpenEnd = ~std::uint64_t{0};

  std::uint32_t id = 0;
  std::uint64_t start = 0;    ///< Offset of the id.
  std::uint64_t payload = 0;  ///< Offset behind id and size.
  std::uint64_t end = 0;      ///< Offset behind the payload, perhaps beyond the end of the file.

  bool Is(Element kind) const { return id == ElementId(kind); }
  std::uint64_t Size() const { return end - payload; }
};

/// What reading one file may cost, whatever the file says: with chapters, the files that these name, and the
/// windows and lists around them, at most 250,000 elements, 16 MiB read and as much memory.
struct EbmlLimits {
  std::uint64_t elements = 80'000;
  std::uint64_t bytesRead = 8U << 20;
  std::uint64_t bytesKept = 7U << 20;  ///< Of strings, binary values and lists together.
};

/// Reads elements by RFC 8794. Every function gives QMF_FAILURE for what the format forbids and
/// QMF_ERR_END_OF_STREAM where the file, or a limit, ends before the element does.
class EbmlReader {
 public:
  static constexpr std::uint64_t kMaxTextSize = 1U << 20;
  static constexpr int kMaxDepth = 32;

  EbmlReader(FileReader& file, QMFAllocator* memory, const EbmlLimits& limits = {});

  std::uint64_t FileSize() const { return m_fileSize; }
  QMFAllocator* Memory() const { return m_memory; }

  /// Reads the header of the element at `at`, which must lie with its payload before `parentEnd`. Only
  /// segments and clusters may have unknown size.
  QMFResult ReadHeader(std::uint64_t at, std::uint64_t parentEnd, EbmlElement& element);

  /// The payload as an unsigned or two's complement integer of 0 to 8 bytes, big-endian. A narrower target
  /// keeps the low bits.
  QMFResult Read(const EbmlElement& element, std::uint64_t& value);
  QMFResult Read(const EbmlElement& element, std::uint32_t& value);
  QMFResult Read(const EbmlElement& element, std::int64_t& value);
  /// As a flag: any value but 0.
  QMFResult Read(const EbmlElement& element, bool& value);
  /// As IEEE 754 of 4 or 8 bytes; no bytes are 0.0.
  QMFResult Read(const EbmlElement& element, double& value);
  /// As UTF-8 (or ASCII) text, which a zero byte may end early, of at most kMaxTextSize bytes.
  QMFResult Read(const EbmlElement& element, std::pmr::u16string& value);
  /// As bytes.
  QMFResult Read(const EbmlElement& element, std::pmr::vector<std::uint8_t>& value);
  /// As an integer behind those already there.
  QMFResult Read(const EbmlElement& element, std::pmr::vector<std::uint64_t>& values);

  template <class Value>
  QMFResult Read(const EbmlElement& element, std::optional<Value>& value) {
    return Read(element, value.emplace());
  }

  /// Counts `bytes` that the caller is about to keep.
  QMFResult Keep(std::uint64_t bytes);

  /// One level of nesting, for as long as it lives.
  class Level {
   public:
    explicit Level(EbmlReader& reader) : m_reader(reader) { ++m_reader.m_depth; }
    ~Level() { --m_reader.m_depth; }
    Level(const Level&) = delete;
    Level& operator=(const Level&) = delete;
    bool TooDeep() const { return m_reader.m_depth > kMaxDepth; }

   private:
    EbmlReader& m_reader;
  };

 private:
  bool MayRead(std::uint64_t bytes) const;
  QMFResult SpendElement();
  QMFResult CheckPresent(const EbmlElement& element) const;
  QMFResult ReadIntegerBytes(const EbmlElement& element, std::uint64_t& value);

  FileReader& m_file;
  QMFAllocator* const m_memory;
  EbmlLimits m_left;
  const std::uint64_t m_fileSize;
  const std::uint64_t m_bytesReadBefore;
  int m_depth = 0;
};

}  // namespace qmf
