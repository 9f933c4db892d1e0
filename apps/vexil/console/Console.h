#pragma once

#include "apps/vexil/base/Options.h"
#include "vexil/BaseTypes.h"

#include <functional>
#include <mutex>
#include <ostream>
#include <string>

namespace vexil::app {

/// Standard output, where results go, and standard error, where everything else goes: messages, and the line
/// that shows progress. Any thread.
class CConsole {
public:
    /// How many columns a terminal has at the moment; 0 for unknown.
    using Columns = std::function<int()>;

    /// \param isTerminal  whether `errors` is one, on which a line can be written over
    CConsole(
        std::ostream& output, std::ostream& errors, bool isTerminal, Columns columns = [] { return 0; });
    CConsole(const CConsole&) = delete;
    CConsole& operator=(const CConsole&) = delete;

    void setVerbosity(Verbosity verbosity) { m_verbosity = verbosity; }
    bool shows(Verbosity level) const noexcept { return level <= m_verbosity; }
    bool isTerminal() const noexcept { return m_isTerminal; }

    /// A line on standard output.
    void print(const String& line);
    /// Bytes on standard output, which are gone to the system when this returns.
    void printBytes(const void* data, int length);
    /// Throws a CError that says that standard output cannot be written to.
    /// \param systemError  the reason, an `errno` value
    [[noreturn]] static void failOutput(int systemError);
    /// \throws CError if something did not get to standard output, with the reason of the first failure
    void checkOutput();

    /// A line on standard error, if this level is shown.
    void message(Verbosity level, const String& line);

    /// Replaces the line that shows progress, on a terminal only; "" takes it away. What is too long is cut.
    void showProgressLine(const String& line);
    /// How many columns that line may have.
    int getProgressColumns() const;

private:
    void noteOutputFailure() noexcept;
    int getColumns() const;
    /// What takes the line that shows progress away; "" where there is none.
    std::string takeEraser();
    /// In one piece: the "^C" that a terminal shows when somebody interrupts must not come between.
    void writeToErrors(const std::string& text);

    std::mutex m_mutex;
    std::ostream& m_output;
    std::ostream& m_errors;
    const bool m_isTerminal;
    const Columns m_columns;
    Verbosity m_verbosity = Verbosity::Warning;
    bool m_hasProgressLine = false;
    int m_outputFailure = 0;  // the `errno` value of the first one
};

}  // namespace vexil::app
