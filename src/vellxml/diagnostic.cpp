#include <vellxml/diagnostic.h>

#include <utility>

namespace vellxml {

QString Diagnostic::callbackText() const
{
    if (file.isEmpty())
        return text;
    return QStringLiteral("%1:%2:%3:%4").arg(file, QString::number(line), QString::number(column), text);
}

QString Diagnostic::description() const
{
    QString kind;
    if (severity == Severity::Error)
        kind = QStringLiteral("error: ");
    else if (severity == Severity::Warning)
        kind = QStringLiteral("warning: ");
    if (file.isEmpty())
        return kind + text;
    if (line == 0 && column == 0)
        return file + QStringLiteral(": ") + kind + text;
    return QStringLiteral("%1:%2:%3: ").arg(file, QString::number(line), QString::number(column)) + kind + text;
}

DiagnosticSink::~DiagnosticSink() = default;

DiagnosticFunctionSink::DiagnosticFunctionSink(std::function<void(const Diagnostic&)> function)
    : m_function(std::move(function))
{
}

void DiagnosticFunctionSink::report(const Diagnostic& diagnostic)
{
    if (m_function)
        m_function(diagnostic);
}

DiagnosticCallbacks::DiagnosticCallbacks(HwMessageCallback log, HwMessageCallback error, HwMessageCallback warning)
    : m_log(log)
    , m_error(error)
    , m_warning(warning)
{
}

void DiagnosticCallbacks::report(const Diagnostic& diagnostic)
{
    HwMessageCallback callback = m_log;
    if (diagnostic.severity == Severity::Error)
        callback = m_error;
    else if (diagnostic.severity == Severity::Warning)
        callback = m_warning;
    if (callback)
        callback(diagnostic.callbackText().toUtf8().constData());
}

DiagnosticList::DiagnosticList(DiagnosticSink* next)
    : m_next(next)
{
}

void DiagnosticList::report(const Diagnostic& diagnostic)
{
    m_diagnostics.append(diagnostic);
    if (m_next)
        m_next->report(diagnostic);
}

int DiagnosticList::count(Severity severity) const
{
    int n = 0;
    for (const Diagnostic& diagnostic : m_diagnostics)
        n += diagnostic.severity == severity ? 1 : 0;
    return n;
}

} // namespace vellxml
