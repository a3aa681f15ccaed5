/// The program's standard streams: data goes to standard output, messages to standard error, and
/// nothing else to either.

#ifndef OZNA_TOOLS_PROCESS_STREAMS_H_
#define OZNA_TOOLS_PROCESS_STREAMS_H_

#include <optional>
#include <string>
#include <vector>

namespace oznatool {

/// Makes the streams safe to use; called once, first thing in main.
///
/// Standard descriptors that the caller closed are opened on nothing, so that no photograph can
/// take their numbers and be written over. A reader of standard output that goes away ends the
/// program quietly.
void prepareStreams();

/// Writes one message to standard error: "ozna: ", the text as printable shows it, a line break: no
/// file name can forge a second line. Any thread may call it, also while QuietStandardError holds.
void say(const std::string& text);

/// Says that there is no memory, with none.
void sayNoMemory() noexcept;

/// Keeps one line of status on the terminal of standard error, below the messages and, where
/// standard output goes to a terminal too, below the data. An empty text takes it away. Any thread.
void showStatus(const std::string& line);

/// The columns of the terminal that messages go to; nothing where they go elsewhere.
std::optional<int> messageColumns();

/// Writes text to standard output and flushes it; to a terminal, with what the terminal would obey
/// escaped. Any thread. Throws Failure with kExitOutput where
/// the write fails.
void writeData(const std::string& text);

/// The name of the regular file that standard output goes to; empty where it goes elsewhere.
std::string standardOutputFile();

/// Writes bytes to standard output, as they are. Throws Failure with kExitOutput where it fails,
/// and where standard output is a terminal.
void writeBytes(const std::vector<unsigned char>& bytes);

/// A file name as messages and tables show it: as escapedForTerminal (terminal_text.h) gives it, an
/// empty name as ''.
std::string printable(const std::string& text);

/// While at least one of these lives, what anything but say writes to standard error is dropped.
///
/// The image codecs print remarks of their own there and offer no switch against it.
/// Threads  Any number may live at once, in any threads: the first redirects, the last restores.
class QuietStandardError {
 public:
  QuietStandardError();
  ~QuietStandardError();
  QuietStandardError(const QuietStandardError&) = delete;
  QuietStandardError& operator=(const QuietStandardError&) = delete;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_PROCESS_STREAMS_H_
