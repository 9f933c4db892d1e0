#pragma once

#include "apps/vexil/base/Options.h"
#include "vexil/BaseTypes.h"
#include "zet/Mutex.h"

#include <functional>
#include <ostream>
#include <string>

namespace vexil::app {

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

    /// Prints a line on standard output.
    void print(const String& line);
    /// Writes bytes to standard output. When this returns, the system has them.
    void printBytes(const void* data, int length);
    /// Throws a CError which says that standard output cannot be written to.
    /// \param systemError  the reason, an `errno` value
    [[noreturn]] static void failOutput(int systemError);
    /// \throws CError if something did not reach standard output, with the reason of the first failure
    void checkOutput();

    /// Prints a line on standard error, if this level is shown.
    void message(Verbosity level, const String& line);

    /// Replaces the progress line, on a terminal only; "" removes it. A long text is cut.
    void showProgressLine(const String& line);
    /// The number of columns for that line.
    int getProgressColumns() const;

private:
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
    bool m_hasProgressLine ZET_GUARDED_BY(m_mutex) = false;
    int m_outputFailure ZET_GUARDED_BY(m_mutex) = 0;  // the `errno` value of the first failure
};

}  // namespace vexil::app
