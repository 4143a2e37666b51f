#ifndef VELLXML_DIAGNOSTIC_H
#define VELLXML_DIAGNOSTIC_H

#include <vellxml/vellxml_export.h>

#include <QList>
#include <QString>

#include <functional>

/// A message callback: one UTF-8 text, no position added. A null callback silences its kind of message.
using HwMessageCallback = void (*)(const char*);

namespace vellxml {

/// How much a diagnostic matters: a log line tells what is being done, a warning lets the work go on, an
/// error means the work failed.
enum class Severity { Log, Warning, Error };

/// Stable identifiers of diagnostics, for callers that react to a kind of problem rather than to a text.
/// Texts may be reworded; codes are not.
namespace code {
inline constexpr const char* Progress = "progress"; ///< a log line: what is being loaded, what was loaded
inline constexpr const char* FileOpen = "file.open"; ///< a file that could not be opened
inline constexpr const char* FileRead = "file.read"; ///< a file opened but not read, or over a size limit
inline constexpr const char* XmlSyntax = "xml.syntax"; ///< a document that does not parse
inline constexpr const char* ArchiveFormat = "archive.format"; ///< a document element that is no archive
inline constexpr const char* IncludeSkipped = "include.skipped"; ///< an include that loaded nothing
inline constexpr const char* Expression = "description.expression"; ///< an expression that does not evaluate
inline constexpr const char* Description = "description.invalid"; ///< a tag or attribute the format refuses
inline constexpr const char* DuplicateType = "description.duplicate-type"; ///< a type name defined twice
inline constexpr const char* Limit = "load.limit"; ///< a bound of HwLoadLimits passed, or an allocation failed
inline constexpr const char* OutputPath = "output.path"; ///< a generated file that would leave its directory
inline constexpr const char* OutputWrite = "output.write"; ///< a generated file that could not be written
} // namespace code

/// One problem, or one line of progress, found while loading a description or generating files: like a
/// compiler's message, it says where (file, line, column; 0 for a whole file, an empty file for none), how
/// bad (severity), what kind (a stable code) and what (the text).
struct VELLXML_EXPORT Diagnostic {
    Severity severity = Severity::Error;
    QString file;
    int line = 0;
    int column = 0;
    QString code;
    QString text;

    /// True unless it is an error.
    explicit operator bool() const { return severity != Severity::Error; }
    /// The text the message callbacks receive: "file:line:column:text", or the text alone without a file.
    QString callbackText() const;
    /// The text for a person: "file:line:column: kind: text", "file: kind: text" for a whole file,
    /// "kind: text" without a file; kind is "error", "warning", or nothing for a log line.
    QString description() const;
};

/// Receives diagnostics. Implement it to keep the caller's context (a window, a counter, a log file); the
/// library calls report() on the caller's thread, in the order the problems are found.
class VELLXML_EXPORT DiagnosticSink {
public:
    virtual ~DiagnosticSink();
    virtual void report(const Diagnostic& diagnostic) = 0;
};

/// A sink that calls a function (a lambda holding the caller's context).
class VELLXML_EXPORT DiagnosticFunctionSink : public DiagnosticSink {
public:
    explicit DiagnosticFunctionSink(std::function<void(const Diagnostic&)> function);
    void report(const Diagnostic& diagnostic) override;

private:
    std::function<void(const Diagnostic&)> m_function;
};

/// A sink over the three text callbacks of the loader (log, error, warning): each diagnostic goes to the
/// callback of its severity as callbackText() in UTF-8; a null callback drops its kind.
class VELLXML_EXPORT DiagnosticCallbacks : public DiagnosticSink {
public:
    DiagnosticCallbacks(HwMessageCallback log, HwMessageCallback error, HwMessageCallback warning);
    void report(const Diagnostic& diagnostic) override;

private:
    HwMessageCallback m_log;
    HwMessageCallback m_error;
    HwMessageCallback m_warning;
};

/// A sink that keeps every diagnostic, and optionally passes each on to another sink. Converts to true
/// while no error was reported.
class VELLXML_EXPORT DiagnosticList : public DiagnosticSink {
public:
    explicit DiagnosticList(DiagnosticSink* next = nullptr);
    void report(const Diagnostic& diagnostic) override;

    const QList<Diagnostic>& diagnostics() const { return m_diagnostics; }
    int count(Severity severity) const;
    explicit operator bool() const { return count(Severity::Error) == 0; }

private:
    DiagnosticSink* m_next;
    QList<Diagnostic> m_diagnostics;
};

} // namespace vellxml

#endif
