#pragma once

#include "apps/vexil/base/Options.h"
#include "vexil/BaseTypes.h"
#include "zet/Mutex.h"

#include <filesystem>
#include <functional>
#include <ostream>
#include <string>

namespace vexil::app {

class CEvent;
class CLogFile;

/// Standard output for results, and standard error for everything else: messages and the progress line. Any
/// thread.
class CConsole {
public:
    /// The current number of columns of a terminal; 0 if unknown.
    using Columns = std::function<int()>;

    /// \param isTerminal  whether `errors` is a terminal, on which a line can be overwritten
    CConsole(
        std::ostream& output, std::ostream& errors, bool isTerminal, Columns columns = [] { return 0; });
    CConsole(const CConsole&) = delete;
    CConsole& operator=(const CConsole&) = delete;

    void setVerbosity(Verbosity verbosity) { m_verbosity = verbosity; }
    bool shows(Verbosity level) const noexcept { return level <= m_verbosity; }
    bool isTerminal() const noexcept { return m_isTerminal; }
    /// Whether summaries are printed. Default true.
    void setPrintsSummaries(bool prints) { m_printsSummaries = prints; }
    /// Events on standard output instead of summaries and progress lines. Default false.
    void setHasEvents(bool hasEvents) { m_hasEvents = hasEvents; }
    bool hasEvents() const noexcept { return m_hasEvents; }
    /// A file for all messages and summaries, also those that are not shown; null, the default, for none. It
    /// must outlive the console, or be replaced by null.
    void setLogFile(CLogFile* file);

    /// Prints a line on standard output.
    void print(const String& line);
    /// Writes bytes to standard output. When this returns, the system has them.
    void printBytes(const void* data, int length);
    /// Throws a CError which says that standard output cannot be written to.
    /// \param systemError  the reason, an `errno` value
    [[noreturn]] static void failOutput(int systemError);
    /// \throws CError if something did not reach standard output, with the reason of the first failure
    void checkOutput();

    /// Prints a line on standard error, if this level is shown. An error or a warning is an event, too.
    void message(Verbosity level, const String& line);
    /// The same for a message about an entry of a backup: "NOT restored: a/b: it has vanished".
    /// \param what    what has happened to the entry
    /// \param name    the entry, for display
    /// \param reason  why
    /// \param path    the entry in the event: its path within the backup; "" to use the name
    void entryMessage(Verbosity level, const String& what, const String& name, const String& reason,
                      const std::string& path);
    /// Prints a line about the progress on standard error, if warnings are shown. It is not logged.
    void progressMessage(const String& line);
    /// Prints a line of a summary on standard output.
    void printSummary(const String& line);
    /// Prints what would be done with a file, on standard output, or as an event.
    /// \param action  "store" and the like
    void tellPlan(const char* action, const std::filesystem::path& relativePath);
    /// Prints an event, if there are events. When this returns, the system has it.
    void tell(const CEvent& event);

    /// Replaces the progress line, on a terminal only; "" removes it. A long text is cut.
    void showProgressLine(const String& line);
    /// The number of columns for that line.
    int getProgressColumns() const;

private:
    void show(Verbosity level, const String& line);
    void noteOutputFailure() noexcept ZET_REQUIRES(m_mutex);
    int getColumns() const;
    /// The text that removes the progress line; "" if there is none.
    std::string takeEraser() ZET_REQUIRES(m_mutex);
    /// Writes in one piece: the "^C" that a terminal shows for an interrupt must not come between.
    void writeToErrors(const std::string& text) ZET_REQUIRES(m_mutex);

    zet::CMutex m_mutex;
    std::ostream& m_output ZET_GUARDED_BY(m_mutex);
    std::ostream& m_errors ZET_GUARDED_BY(m_mutex);
    const bool m_isTerminal;
    const Columns m_columns;
    Verbosity m_verbosity = Verbosity::Warning;
    bool m_printsSummaries = true;
    bool m_hasEvents = false;
    CLogFile* m_logFile ZET_GUARDED_BY(m_mutex) = nullptr;
    bool m_hasProgressLine ZET_GUARDED_BY(m_mutex) = false;
    int m_outputFailure ZET_GUARDED_BY(m_mutex) = 0;  // the `errno` value of the first failure
};

}  // namespace vexil::app
