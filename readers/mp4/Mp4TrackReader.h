#pragma once

#include <cstdint>
#include <optional>

#include "readers/mp4/Mp4Formats.h"
#include "readers/mp4/Mp4SampleCursor.h"

namespace qmf {

/// Walks all samples of one track: those of its tables, then those of the file's fragments. Keeps windows of
/// the tables and one fragment's runs in memory, whatever the length.
class CMP4TrackReader {
 public:
  explicit CMP4TrackReader(const CMP4TrackContext& context);

  enum class State : std::uint8_t {
    kLoaded,   ///< Current() is the next sample.
    kUnknown,  ///< The next sample lies at or behind Position(); Load() looks further.
    kEnded,
  };
  State GetState() const { return m_state; }
  /// The next sample's offset or, while it is unknown, what it is not before.
  std::uint64_t Position() const { return m_state == State::kLoaded ? m_sample.offset : m_nextFragment; }
  /// The next sample comes from the tables, where it is always close at hand.
  bool IsInTables() const { return m_inTables; }
  const CMP4Sample& Current() const { return m_sample; }

  /// Looks one step further: at the tables, or at one more fragment.
  void Load();
  /// Loads the next sample, however far it is. False at the end.
  bool LoadNext();
  /// Passes over the current sample.
  void Advance() { m_state = State::kUnknown; }

  /// Samples that one look for a sync sample passes, at most: more than a day of video.
  static constexpr std::uint32_t kMaxSamplesSought = 1U << 22;

  /// Makes the last sync sample at or before `time`, in media ticks, the next one; the first sample when
  /// there is none before. False when the track has no sample. Passes at most `most` samples of fragments.
  bool Seek(std::int64_t time, std::uint32_t most = kMaxSamplesSought);
  /// As Seek, but false when there is no sync sample at or before `time`.
  bool SeekBefore(std::int64_t time) { return Seek(time) && m_sample.sync && m_sample.decodeTime <= time; }
  /// Makes the first sync sample after `time` the next one. False when there is none.
  bool SeekAfter(std::int64_t time);

  /// The tables' samples, for looking up sync samples by number. Leaves the next sample as it is.
  CMP4SampleCursor& Tables() { return m_cursor; }

 private:
  // Where a sample of a fragment is: enough to come back to it.
  struct FragmentPlace {
    std::uint64_t fragment = 0;
    std::int64_t decodeTime = 0;  // Of the track before the fragment.
    std::uint64_t sample = 0;     // Within the fragment.
  };

  bool NextOfFragment();
  bool EnterFragment();
  void GoTo(const FragmentPlace& place);
  std::optional<FragmentPlace> IndexedPlace(std::int64_t time) const;
  std::optional<FragmentPlace> SyncFragment(const FragmentPlace& start, std::int64_t time,
                                            std::uint32_t most);
  void ToTables(std::uint64_t sample);

  const CMP4TrackContext m_context;
  const bool m_fragmented;  ///< Of tracks that share an id, fragments go on with the first one.
  const CMP4SampleTables m_tables;
  CMP4SampleCursor m_cursor;
  State m_state = State::kUnknown;
  CMP4Sample m_sample;
  bool m_inTables = true;
  std::uint64_t m_nextFragment;
  FragmentPlace m_place;         // Of the next sample, once fragments are reached.
  std::int64_t m_tablesEnd = 0;  // Decode time behind the tables' last sample.
  std::int64_t m_time = 0;       // The same behind the last fragment entered.
  std::pmr::vector<CMP4TrackRunAtom> m_runs;
  std::size_t m_run = 0;
  std::optional<CMP4RunReader> m_reader;
};

}  // namespace qmf
