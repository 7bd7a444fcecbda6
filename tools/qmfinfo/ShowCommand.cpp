#include <algorithm>
#include <thread>

#include "tools/qmfinfo/FileReport.h"
#include "tools/qmfinfo/Options.h"
#include "tools/qmfinfo/OrderedRun.h"
#include "tools/qmfinfo/Output.h"
#include "tools/qmfinfo/ReportFormats.h"
#include "tools/qmfinfo/Terminal.h"
#include "tools/qmfinfo/Units.h"

namespace qmfinfo {
namespace {

// A file's report, ready for printing.
struct Shown {
  qmf::QMFResult result;
  std::string text;
  std::string error;
};

// How reports are written one after the other.
struct Frame {
  std::string begin;
  std::string separator;
  std::string end;
};

Frame FrameOf(ShowFormat format) {
  switch (format) {
    case ShowFormat::JsonArray:
      return {"[\n", ",\n", "\n]\n"};
    case ShowFormat::Csv:
      return {ReportCsvHeader(), "", ""};
    case ShowFormat::JsonLines:
    case ShowFormat::Text:
      break;
  }
  return {};
}

Shown Render(const FileReport& report, ShowFormat format, const TextStyle& style) {
  switch (format) {
    case ShowFormat::JsonArray:
      return {report.result, ReportJson(report).dump(), {}};
    case ShowFormat::JsonLines:
      return {report.result, ReportJson(report).dump() + '\n', {}};
    case ShowFormat::Csv:
      return {report.result, ReportCsv(report), {}};
    case ShowFormat::Text:
      break;
  }
  const bool failed = report.result != qmf::QMF_OK;
  return {report.result, ReportText(report, style), failed ? FailureText(report.path, report.result) : ""};
}

class ShowRun {
 public:
  explicit ShowRun(const ShowOptions& options)
      : m_options(options),
        m_frame(FrameOf(options.format)),
        m_source(options.list),
        m_progress(options.list.recursive || options.list.filesFrom.has_value(),
                   IsErrorTerminal() ? CountPaths(options.list) : std::nullopt) {}

  ExitCode Run() {
    const TextStyle style{WantsColour(), OutputWidth()};
    OrderedRun<Shown> run;
    run.next = [this] { return WasInterrupted() ? std::nullopt : m_source.Next(); };
    run.work = [this, style](const std::u16string& path) {
      return Render(ReadFileReport(path, m_options.title), m_options.format, style);
    };
    run.deliver = [this](const Shown& shown) { Deliver(shown); };
    Print(m_frame.begin);
    run.Run(m_options.jobs != 0 ? m_options.jobs : std::max(1U, std::thread::hardware_concurrency()));
    m_progress.Hide();
    Print(m_frame.end);
    PrintSummary();
    return ExitCodeOf(m_failed == 0 && m_source.IsComplete() && !WasInterrupted());
  }

 private:
  void Deliver(const Shown& shown) {
    m_progress.Hide();
    if (m_done > 0) Print(m_frame.separator);
    Print(shown.text);
    FlushOutput();
    if (!shown.error.empty()) PrintError(shown.error);
    ++m_done;
    if (shown.result != qmf::QMF_OK) ++m_failed;
    m_progress.Advance();
  }

  void PrintSummary() const {
    if (WasInterrupted()) PrintError("interrupted after " + CountText(m_done, "file"));
    if (m_options.format != ShowFormat::Text || m_done < 2) return;
    Print(CountText(m_done, "file") + ", " + (m_failed == 0 ? "none" : std::to_string(m_failed)) +
          " failed\n");
  }

  const ShowOptions& m_options;
  const Frame m_frame;
  PathSource m_source;
  Progress m_progress;
  std::uint64_t m_done = 0;
  std::uint64_t m_failed = 0;
};

}  // namespace

ExitCode Run(const ShowOptions& options) {
  CatchInterrupts();
  return ShowRun(options).Run();
}

}  // namespace qmfinfo
