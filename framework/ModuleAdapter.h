#pragma once

#include <cstddef>
#include <new>

#include "framework/ModuleInterface.h"
#include "framework/ReturnIf.h"

namespace qmf {

/// Turns a reader's class into the entry points of a module, so that no reader repeats the border rules: a
/// null handle or argument is -2, a block call without a buffer is QMF_ERR_BLOCK_BUFFER_NULL, memory
/// exhaustion is -10, and no exception leaves.
///
/// A reader provides
///   static QMFResult Probe(std::int32_t& score, const char16_t* path, QMFAllocator*);   (score arrives as 0)
///   explicit Reader(QMFAllocator*);                                                   (never null)
///   QMFResult Open(const char16_t* path);
///   QMFResult SetTitle(std::uint32_t), SetMenu(std::uint32_t), GetInfo(qid, QMFQueryData&, index),
///   SetInfo(...), SetPosition(blockType, stream, std::int64_t&), SetTitleActiveStream(blockType, stream,
///   active), ReadNextBlock(std::uint32_t& blockType, std::uint32_t& stream, QMFBlock&, std::int64_t& time),
///   ReadNextBlockByStream(blockType, stream, QMFBlock&, std::int64_t& time).
/// A slot whose member function the reader lacks stays null.
template <class Reader>
class ModuleAdapter {
 public:
  /// `unnamedSlots` lists the filled slots without a name, beyond slot 0, which every module fills.
  static constexpr QMFModuleEntryPoints EntryPoints(const QMFModuleHeader* (*getHeader)(),
                                                    std::initializer_list<int> unnamedSlots = {}) {
    QMFModuleEntryPoints slots{};
    slots.slot0 = [](QMFModuleHandle) { return QMF_OK; };
    slots.GetModuleHeader = getHeader;
    slots.ProbeContainer = ProbeContainer;
    slots.OpenContainer = OpenContainer;
    slots.CloseContainer = CloseContainer;
    if constexpr (requires(Reader & r) { r.SetTitle(0U); }) slots.SetTitle = SetTitle;
    if constexpr (requires(Reader & r) { r.SetMenu(0U); }) slots.SetMenu = SetMenu;
    if constexpr (requires(Reader & r, QMFQueryData & d) { r.GetInfo(0U, d, 0U); }) slots.GetInfo = GetInfo;
    if constexpr (requires(Reader & r, QMFQueryData & d) { r.SetInfo(0U, d, 0U); }) slots.SetInfo = SetInfo;
    if constexpr (requires(Reader & r, std::int64_t & t) { r.SetPosition(0U, 0U, t); })
      slots.SetPosition = SetPosition;
    if constexpr (requires(Reader & r) { r.SetTitleActiveStream(0U, 0U, 0U); }) {
      slots.SetTitleActiveStream = SetTitleActiveStream;
    }
    if constexpr (requires(Reader & r, std::uint32_t & n, QMFBlock & b, std::int64_t & t) {
                    r.ReadNextBlock(n, n, b, t);
                    r.ReadNextBlockByStream(n, n, b, t);
                  }) {
      slots.ReadNextBlock = ReadNextBlock;
      slots.ReadNextBlockByStream = ReadNextBlockByStream;
    }
    for (const int slot : unnamedSlots) *UnnamedSlot(slots, slot) = CheckHandle;
    return slots;
  }

 private:
  template <class Call>
  static QMFResult Guarded(Call&& call) noexcept {
    try {
      return call();
    } catch (const std::bad_alloc&) {
      return QMF_OUT_OF_MEMORY;
    } catch (...) {
      return QMF_FAILURE;
    }
  }

  template <class Call>
  static QMFResult WithReader(QMFModuleHandle handle, Call&& call) noexcept {
    if (handle == nullptr) return QMF_NULL_ARGUMENT;
    return Guarded([&] { return call(*static_cast<Opened*>(handle)); });
  }

  // The reader together with the allocator that it came from.
  struct Opened : Reader {
    explicit Opened(QMFAllocator* memory) : Reader(memory), m_memory(memory) {}
    QMFAllocator* const m_memory;
  };

  static void Destroy(Opened* reader) {
    std::pmr::polymorphic_allocator<>(reader->m_memory).delete_object(reader);
  }

  static constexpr QMFUnnamedEntryPoint* UnnamedSlot(QMFModuleEntryPoints& slots, int slot) {
    if (slot >= 4 && slot <= 6) return &slots.slots4to6[slot - 4];
    if (slot >= 19 && slot <= 27) return &slots.slots19to27[slot - 19];
    return &slots.slots32to33[slot - 32];
  }

  static QMFResult CheckHandle(QMFModuleHandle handle) {
    return handle == nullptr ? QMF_NULL_ARGUMENT : QMF_OK;
  }

  static QMFResult ProbeContainer(std::int32_t* score, const char16_t* path, QMFAllocator* allocator) {
    if (score == nullptr) return QMF_NULL_ARGUMENT;
    *score = 0;
    if (path == nullptr) return QMF_NULL_ARGUMENT;
    return Guarded([&] { return Reader::Probe(*score, path, AllocatorOrHeap(allocator)); });
  }

  static QMFResult OpenContainer(QMFModuleHandle* handle, const char16_t* path, QMFAllocator* allocator) {
    if (handle == nullptr) return QMF_NULL_ARGUMENT;
    *handle = nullptr;
    if (path == nullptr) return QMF_NULL_ARGUMENT;
    return Guarded([&] {
      QMFAllocator* const memory = AllocatorOrHeap(allocator);
      auto* const reader = std::pmr::polymorphic_allocator<>(memory).new_object<Opened>(memory);
      const QMFResult result = Guarded([&] { return reader->Open(path); });
      if (IsFailure(result)) {
        Destroy(reader);
      } else {
        *handle = reader;
      }
      return result;
    });
  }

  static QMFResult CloseContainer(QMFModuleHandle handle) {
    return WithReader(handle, [](Opened& reader) {
      Destroy(&reader);
      return QMF_OK;
    });
  }

  static QMFResult SetTitle(QMFModuleHandle handle, std::uint32_t titleIndex) {
    return WithReader(handle, [&](Opened& reader) { return reader.SetTitle(titleIndex); });
  }

  static QMFResult SetMenu(QMFModuleHandle handle, std::uint32_t menuIndex) {
    return WithReader(handle, [&](Opened& reader) { return reader.SetMenu(menuIndex); });
  }

  static QMFResult GetInfo(QMFModuleHandle handle, std::uint32_t qid, QMFQueryData* data,
                           std::uint32_t index) {
    if (data == nullptr) return QMF_NULL_ARGUMENT;
    return WithReader(handle, [&](Opened& reader) { return reader.GetInfo(qid, *data, index); });
  }

  static QMFResult SetInfo(QMFModuleHandle handle, std::uint32_t qid, QMFQueryData* data,
                           std::uint32_t index) {
    if (data == nullptr) return QMF_NULL_ARGUMENT;
    return WithReader(handle, [&](Opened& reader) { return reader.SetInfo(qid, *data, index); });
  }

  static QMFResult SetPosition(QMFModuleHandle handle, std::uint32_t blockType, std::uint32_t stream,
                               std::int64_t* time) {
    if (time == nullptr) return QMF_NULL_ARGUMENT;
    return WithReader(handle, [&](Opened& reader) { return reader.SetPosition(blockType, stream, *time); });
  }

  static QMFResult SetTitleActiveStream(QMFModuleHandle handle, std::uint32_t blockType, std::uint32_t stream,
                                        std::uint32_t active) {
    return WithReader(handle,
                      [&](Opened& reader) { return reader.SetTitleActiveStream(blockType, stream, active); });
  }

  // A failed read leaves a block of no bytes: callers checksum `size` bytes whatever the result.
  template <class Call>
  static QMFResult WithBlock(QMFModuleHandle handle, QMFBlock* block, bool hasOutputs, Call&& call) noexcept {
    if (block != nullptr) block->size = 0;
    if (!hasOutputs) return QMF_NULL_ARGUMENT;
    if (block == nullptr || block->data == nullptr) return QMF_ERR_BLOCK_BUFFER_NULL;
    const QMFResult result = WithReader(handle, call);
    if (IsFailure(result)) block->size = 0;
    return result;
  }

  static QMFResult ReadNextBlock(QMFModuleHandle handle, std::uint32_t* blockType, std::uint32_t* stream,
                                 QMFBlock* block, std::int64_t* time) {
    const bool hasOutputs = blockType != nullptr && stream != nullptr && time != nullptr;
    return WithBlock(handle, block, hasOutputs, [&](Opened& reader) {
      return reader.ReadNextBlock(*blockType, *stream, *block, *time);
    });
  }

  static QMFResult ReadNextBlockByStream(QMFModuleHandle handle, std::uint32_t blockType,
                                         std::uint32_t stream, QMFBlock* block, std::int64_t* time) {
    return WithBlock(handle, block, time != nullptr, [&](Opened& reader) {
      return reader.ReadNextBlockByStream(blockType, stream, *block, *time);
    });
  }
};

}  // namespace qmf
