#ifndef VELLXML_GENERATORS_GENERATOR_P_H
#define VELLXML_GENERATORS_GENERATOR_P_H

// Helpers shared by the generators' sources; not installed.

#include <vellxml/diagnostic.h>

#include <QSet>
#include <QString>

#include <cstdint>

class HwIntVar;
class HwXMLArchive;
class HwXMLElement;

namespace vellxml::generators_p {

/// Eight upper-case hexadecimal digits.
QString hex8(std::uint32_t value);
/// Four blanks per level.
QString indent(int level);
/// The line and the blanks that bring it to the column (at least one).
QString padTo(const QString& line, int column);

/// The C type a member is declared with: the class's own type for valuables (so that the tag name that an
/// array's prototype keeps as type name does not leak into C), the pointed type and "*" for pointers, the
/// C name of the declared type for structures and externals.
QString cTypeOf(const HwXMLElement* element);

/// The TYPES-section text of an archive element: base addresses of its instances, its typedef, for a
/// module structure the instance pointers and the bitfield unions, then its macros.
QString elementCContent(HwXMLElement* element);
/// The assembly text of an archive element (ARM flavour when arm is set).
QString elementAsmContent(HwXMLElement* element, bool arm);
/// The register macro names the assembly header being written defined so far (null outside one).
extern QSet<QString>* s_asmNames;
/// One register address line of the assembly headers.
QString asmRegisterLine(
    const QString& prefix, const QString& name, const QString& base, std::uint32_t address);

/// Whether the archive whose C header is `header` (as an include names it) writes its C header, or for
/// assembly its assembly headers: an include of an archive that writes none is left out. A header of no
/// loaded archive (a case not taken, a missing optional file) is kept when keepUnloaded is set: the
/// branches of a conditional include name files that were not loaded.
bool writesHeaders(const HwXMLArchive* from, const QString& header, bool assembly, bool keepUnloaded);

/// The names of the chip's variables kept out of the generated files.
QSet<QString> hiddenVariables(const HwXMLArchive* archive);
/// A variable's "#define" text: HwIntVar::c_serialize, except that a variable whose expression names a
/// hidden variable is defined by its value, since the hidden one is never defined.
QString variableDefine(const HwIntVar& variable, const QSet<QString>& hidden);

/// Whether dir + "/" + relative stays inside dir, compared on cleaned absolute paths.
bool staysInside(const QString& dir, const QString& relative);
/// Reports a file that was not written, with the reason, to the sink (code OutputPath or OutputWrite), or as
/// a line on standard error when there is none.
void reportOutputProblem(vellxml::DiagnosticSink* sink, const char* code, const QString& file, const QString& text);
/// Writes text (UTF-8) to dir + "/" + relative, creating the missing directories, whole or not at all.
/// A path leaving dir is refused. Returns false, after reporting the file and the reason, when nothing was
/// written.
bool writeOutputFile(
    const QString& dir, const QString& relative, const QString& text, vellxml::DiagnosticSink* sink);

} // namespace vellxml::generators_p

#endif
