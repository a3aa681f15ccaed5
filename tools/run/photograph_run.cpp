// The threads of a run, and the order of what they find.

#include "tools/run/photograph_run.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <csignal>
#include <cstddef>
#include <exception>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <system_error>
#include <thread>

#include "tools/output/coco_export.h"
#include "tools/photograph/photograph_reader.h"
#include "tools/process/interrupt.h"
#include "tools/process/machine_limits.h"
#include "tools/process/memory_budget.h"
#include "tools/process/streams.h"
#include "tools/process/system_reason.h"
#include "tools/run/previous_output.h"
#include "tools/run/read_ahead.h"
#include "tools/run/run_summary.h"

namespace oznatool {
namespace {

// An input on its way through a thread.
struct Job {
  std::size_t index = 0;
  Input input;
  ReadFile file;
  std::optional<Photograph> photograph;      // Once it is decoded; within the memory of file.
  std::optional<PhotographFailure> failure;  // Of reading or decoding.
};

// What a thread made of an input, ready to be written.
struct Result {
  Record record;
  std::vector<PreparedFiles> files;
  std::vector<Failure> problems;  // With the files.
  MemoryBudget::Lease memory;     // Of the files.
};

class Run {
 public:
  Run(const RunOptions& options, const FaceFinder& finder,
      const std::vector<const SideOutput*>& outputs)
      : options_(options),
        finder_(finder),
        outputs_(outputs),
        jobs_(threadCount(options_.jobs)),
        previous_(options_.resume.empty() ? PreviousOutput() : PreviousOutput(options_.resume)),
        budget_(workingMemory(options_.memory_mib)),
        inputs_(
            options_.inputs, [this](const Input& input) { return isDone(input); }, guard()),
        progress_(options_.progress, Inputs::maySeveral(options_.inputs)) {
    const auto reads_pixels = [](const SideOutput* output) { return output->readsPixels(); };
    if (std::none_of(outputs.begin(), outputs.end(), reads_pixels)) {
      reduction_of_ = [this](const cv::Size& upright) { return finder_.reductionFor(upright); };
    }
    if (countsPixels(finder_.options()) ||
        std::any_of(outputs.begin(), outputs.end(), reads_pixels)) {
      purpose_ = Purpose::kPixels;
    }
    const auto copies = [](const SideOutput* output) { return output->copies(); };
    if (std::any_of(outputs.begin(), outputs.end(), copies)) purpose_ = Purpose::kCopy;
    // Several threads read and search side by side anyway.
    reads_ahead_ = jobs_ == 1 && Inputs::maySeveral(options_.inputs);
    // How far the threads may run ahead of a slow photograph.
    window_ = 4 * static_cast<std::size_t>(jobs_) + 16;
  }

  ExitCode run() {
    if (!options_.quiet && !options_.picture_out && options_.report.format == Format::kCsv &&
        !previous_.isContinued()) {
      writeData(csvHeading(options_.report.columns));
    }
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(jobs_));
    try {
      for (int i = 1; i < jobs_; ++i) threads.emplace_back([this] { work(); });
    } catch (const std::exception&) {
      // Those that began do the whole work.
      const bool has_room = hasRoomForAThread();
      say((has_room ? "the system allows " : "there is memory for ") +
          std::to_string(threads.size() + 1) + " threads, not " + std::to_string(jobs_) +
          (has_room ? " (ulimit -u, or the limit of the control group)" : ""));
    }
    work();
    for (std::thread& thread : threads) thread.join();
    if (error_) std::rethrow_exception(error_);
    writeExport();
    reportEnd();
    return status();
  }

 private:
  // Keeps photographs from being overwritten by files of the run.
  std::function<void(const Input&)> guard() const {
    if (options_.existing != Existing::kOverwrite) return nullptr;
    return [this](const Input& input) {
      for (const SideOutput* output : outputs_) output->protect(input);
    };
  }

  // Whether a previous output has it, or all of its files are there.
  bool isDone(const Input& input) const {
    if (previous_.has(input.path)) {
      if (!previous_.isReplaced(input.path)) return true;
      say(printable(input.path) +
          ": is another file than in the previous output; it is done again");
      return false;
    }
    return options_.existing == Existing::kSkip &&
           std::all_of(outputs_.begin(), outputs_.end(),
                       [&](const SideOutput* output) { return output->isThere(input); });
  }

  // Whether no further photograph is to be begun.
  bool stopped() const { return stopped_ || interrupted(); }

  // The life of a thread. Nothing may leave it.
  void work() {
    // Outside of what may throw: its end waits for its thread, which the stop below ends.
    std::optional<ReadAhead<Job>> ahead;
    try {
      if (reads_ahead_) beginToReadAhead(ahead);
      while (std::optional<Job> job = ahead ? ahead->next() : nextDecoded()) {
        if (ahead && stopped()) break;  // Nobody waits for it.
        deliver(job->index, process(*job));
      }
    } catch (...) {
      const std::lock_guard<std::mutex> lock(writing_);
      if (!error_) error_ = std::current_exception();
      stopped_ = true;
    }
  }

  void beginToReadAhead(std::optional<ReadAhead<Job>>& ahead) {
    try {
      ahead.emplace([this] { return nextDecoded(); });
    } catch (const std::system_error&) {
      // No thread for it: one photograph after the other.
    }
  }

  std::optional<Job> nextDecoded() {
    std::optional<Job> job = nextJob();
    if (job && !job->failure) decode(*job);
    return job;
  }

  // Reads the next input. One thread at a time is in here, so that memory is set aside in the order
  // of the inputs: a photograph then never waits for one behind it.
  std::optional<Job> nextJob() {
    const std::lock_guard<std::mutex> lock(reading_);
    const auto stop = [this] { return stopped(); };
    waitForWindow();
    std::optional<Input> input = inputs_.next(stop);
    if (!input) return std::nullopt;
    Job job;
    job.index = begun_;
    job.input = std::move(*input);
    try {
      job.file =
          readWithin(budget_, job.input, finder_.options().search, reduction_of_, purpose_, stop);
    } catch (const PhotographFailure& failure) {
      job.failure = failure;
    } catch (const std::bad_alloc& error) {
      job.failure = failureOf(job.input.path, error);
    }
    if (stopped()) return std::nullopt;
    ++begun_;
    return job;
  }

  void waitForWindow() {
    std::unique_lock<std::mutex> lock(writing_);
    while (begun_ >= written_ + window_ && !stopped()) {
      moved_on_.wait_for(lock, std::chrono::milliseconds(100));
    }
  }

  void decode(Job& job) const {
    try {
      job.photograph = decodeFile(job.input.path, job.file);
      if (options_.strict && job.photograph->is_cut_short) {
        throw PhotographFailure(job.input.path, FailureKind::kFormat, "is cut short");
      }
    } catch (const PhotographFailure& failure) {
      job.failure = failure;
    } catch (const std::exception& error) {
      job.failure = failureOf(job.input.path, error);
    }
  }

  Result process(Job& job) const {
    Result result;
    result.record.path = job.input.path;
    // Of a file that could not be read to its end, as it is now.
    result.record.stamp = job.file.stamp ? job.file.stamp : stampOf(job.input.path);
    result.record.failure = job.failure;
    if (job.failure) return result;
    if (job.file.header.pages > 1) {
      result.record.warnings.push_back(
          "has " + std::to_string(job.file.header.pages) +
          (job.file.header.format == FileFormat::kTiff ? " pages" : " frames") +
          ", of which the first was taken");
    }
    if (job.photograph->is_cut_short) {
      result.record.warnings.push_back("is cut short: what is missing is searched as grey");
    }
    try {
      result.record.size = job.photograph->size;
      result.record.orientation = job.photograph->orientation;
      result.record.faces = finder_.find(*job.photograph);
      prepareFiles(job.input, *job.photograph, result);
    } catch (const PhotographFailure& failure) {
      result.record.failure = failure;
    } catch (const Failure&) {
      throw;
    } catch (const std::exception& error) {
      // The library lets exceptions of the image library and failed allocations through.
      result.record.failure = failureOf(job.input.path, error);
    }
    if (result.record.failure) {
      result.record.faces.clear();
      result.files.clear();
    }
    job.photograph.reset();
    std::int64_t bytes = 0;
    for (const PreparedFiles& files : result.files) bytes += files.bytes;
    job.file.memory.shrinkTo(bytes);
    result.memory = std::move(job.file.memory);
    return result;
  }

  void prepareFiles(const Input& input, Photograph& photograph, Result& result) const {
    for (const SideOutput* output : outputs_) {
      try {
        result.files.push_back(output->prepare(input, result.record, photograph));
      } catch (const Failure& failure) {
        result.problems.push_back(failure);
      }
    }
  }

  // Takes a result and writes all those that are due.
  void deliver(std::size_t index, Result result) {
    const std::lock_guard<std::mutex> lock(writing_);
    waiting_.emplace(index, std::move(result));
    while (!waiting_.empty() && waiting_.begin()->first == written_ && !error_) {
      Result due = std::move(waiting_.begin()->second);
      waiting_.erase(waiting_.begin());
      write(due);
      ++written_;
      progress_.update(written_, failed_, inputs_.total());
      moved_on_.notify_all();
    }
  }

  void write(Result& result) {
    Record& record = result.record;
    if (record.failure) {
      report(*record.failure);
      ++failed_;
      for (const SideOutput* output : outputs_) output->noteFailure(record);
    }
    for (const PreparedFiles& files : result.files) {
      try {
        files.write(record);
      } catch (const Failure& failure) {
        result.problems.push_back(failure);
      }
    }
    for (const Failure& problem : result.problems) report(problem);
    faces_ += record.faces.size();
    if (!options_.quiet) {
      for (const std::string& warning : record.warnings) {
        say(printable(record.path) + ": " + warning);
      }
      if (options_.report.format == Format::kCoco) {
        coco_.add(record);
      } else if (!options_.picture_out) {
        writeData(formatted(record, options_.report));
      }
    } else if (faces_ > 0 && outputs_.empty()) {
      stopped_ = true;  // Nothing that could come would change the answer.
    }
  }

  void report(const Failure& failure) {
    say(failure.what());
    highest_ = std::max(highest_, failure.code());
  }

  void writeExport() {
    if (options_.report.format == Format::kCoco && !options_.quiet && !options_.picture_out) {
      writeData(coco_.text());
    }
  }

  // The closing line, and how to continue an interrupted run.
  void reportEnd() {
    const std::string pace = progress_.finish();
    const bool has_summary =
        !options_.quiet && (Inputs::maySeveral(options_.inputs) || !pace.empty());
    if (has_summary) {
      RunSummary summary = inputs_.leftOut();
      summary.photographs = written_;
      summary.faces = faces_;
      summary.failed = failed_;
      say(summaryLine(summary) + (pace.empty() ? "" : " (" + pace + ")"));
    }
    if (!interrupted()) return;
    const std::optional<std::size_t> total = inputs_.total();
    std::string line = "interrupted after " + std::to_string(written_);
    if (total) line += " of " + std::to_string(*total);
    if (!options_.quiet &&
        (options_.report.format == Format::kJson || options_.report.format == Format::kCsv)) {
      const std::string output = standardOutputFile();
      line += "; continue with --resume " + (output.empty() ? "FILE" : printable(output));
    }
    say(line);
  }

  ExitCode status() {
    if (interrupted()) return interruptingSignal() == SIGTERM ? kExitTerminated : kExitInterrupted;
    highest_ = std::max(highest_, inputs_.status());
    if (!options_.quiet) return highest_;
    if (faces_ > 0) return kExitOk;
    return highest_ == kExitOk ? kExitQuietNone : kExitQuietError;
  }

  const RunOptions& options_;
  const FaceFinder& finder_;
  const std::vector<const SideOutput*>& outputs_;
  const int jobs_;  // Threads.
  const PreviousOutput previous_;
  ReductionOf reduction_of_;  // Null where an output needs whole photographs.
  bool reads_ahead_ = false;
  Purpose purpose_ = Purpose::kSearch;
  std::size_t window_ = 0;
  std::atomic<bool> stopped_{false};

  std::mutex reading_;
  std::size_t begun_ = 0;  // Guarded by reading_.
  MemoryBudget budget_;
  Inputs inputs_;

  std::mutex writing_;  // Guards what follows.
  std::condition_variable moved_on_;
  std::map<std::size_t, Result> waiting_;  // By index.
  std::size_t written_ = 0;
  CocoExport coco_;
  std::size_t failed_ = 0;
  std::size_t faces_ = 0;
  ExitCode highest_ = kExitOk;
  std::exception_ptr error_;
  Progress progress_;
};

}  // namespace

ExitCode runPhotographs(const RunOptions& options, const FaceFinder& finder,
                        const std::vector<const SideOutput*>& outputs) {
  watchInterrupts();
  return Run(options, finder, outputs).run();
}

}  // namespace oznatool
