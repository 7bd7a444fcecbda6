#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace qmfinfo {

/// Whether a person sees standard error as it comes.
bool IsErrorTerminal();

/// Columns of the terminal that standard output goes to; 0 when it goes elsewhere.
std::size_t OutputWidth();

/// Whether standard output may carry colour: a terminal that knows it, and no NO_COLOR in the environment.
bool WantsColour();

/// From now on the first Ctrl-C only makes WasInterrupted true; the second ends the program.
void CatchInterrupts();
bool WasInterrupted();

/// A line on standard error that says how far a batch is: count, rate and, where the total is known, the time
/// left. Nothing is shown where standard error is no terminal.
class Progress {
 public:
  /// Shown at all only when `wanted`.
  Progress(bool wanted, std::optional<std::uint64_t> total);
  ~Progress() { Hide(); }

  bool IsShown() const { return m_shown; }
  /// Takes the line away, so that output can be printed.
  void Hide() noexcept;
  /// Counts one file; puts the line back, a few times a second.
  void Advance();

 private:
  using Clock = std::chrono::steady_clock;
  std::string Line(Clock::time_point now) const;

  const bool m_shown;
  const std::optional<std::uint64_t> m_total;
  const Clock::time_point m_start = Clock::now();
  Clock::time_point m_last = m_start;
  std::uint64_t m_done = 0;
  std::size_t m_columns = 0;  ///< Of the line that is to be seen.
};

}  // namespace qmfinfo
