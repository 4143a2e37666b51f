#ifndef VELLXML_LOADER_ARCHIVE_LOADER_P_H
#define VELLXML_LOADER_ARCHIVE_LOADER_P_H

#include <vellxml/diagnostic.h>
#include <vellxml/loader/archive.h>
#include <vellxml/loader/document.h>

#include <QString>

#include <cstdint>
#include <memory>

class HwArray;
class HwBitField;
class HwBitFieldOptions;
class HwBitGroup;
class HwEnum;
class HwRootArchive;
class HwStruct;
class HwValuable;
class HwXMLArchive;
class HwXMLElement;
class HwXMLInclude;
class HwXmlDocument;
class HwXmlElementView;
struct HwDescriptionChecks;

namespace vellxml::loader_p {
class DescriptionChecker;
}

/// Reads archive files and turns their tags into the model. One loader serves one load: it carries the
/// callbacks, the limits and the counts those limits bound.
///
/// Every handler reports a failure once, where it finds it, as a diagnostic naming the total path of the
/// archive being read, and returns false or null; the caller then fails without further messages.
class HwArchiveLoader {
public:
    explicit HwArchiveLoader(vellxml::DiagnosticSink& sink, const HwLoadLimits& limits = HwLoadLimits());
    ~HwArchiveLoader();
    HwArchiveLoader(const HwArchiveLoader&) = delete;
    HwArchiveLoader& operator=(const HwArchiveLoader&) = delete;

    /// Runs the description checks on the files this loader reads (off unless enabled).
    void setDescriptionChecks(const HwDescriptionChecks& checks);
    /// The checks that compare the whole load (instances against each other); call once it succeeded.
    void finishDescriptionChecks();

    /// What a file that cannot be opened is: nothing to report (an optional include), a warning (an include,
    /// which is then skipped) or an error (the root file, without which there is nothing to load).
    enum class OpenProblem { Ignore, Warn, Fail };

    /// Reads one file (once per tree: a file already loaded gives its archive and XMD_ALREADY_LOADED).
    HwXMLArchive* loadArchiveFromFile(const QString& path, const QString& name, const QString& directory,
        HwRootArchive* root, OpenProblem openProblem, XMDOpenError& result);

    HwXMLArchive* manageArchiveTag(
        const HwXmlElementView& element, const QString& name, const QString& directory, HwRootArchive* root);
    /// 0 done, 1 skipped (file missing), 3 failed.
    int manageIncludeTag(const HwXmlElementView& element, HwXMLArchive* archive);
    int manageIncludeEntry(HwXMLArchive* archive, HwXMLInclude* include, const QString& file,
        const QString& condition, bool load, bool optional);
    bool manageModuleOrTypedefTag(const HwXmlElementView& element, HwXMLArchive* archive);
    bool manageModuleOrTypedefTag(
        const HwXmlElementView& element, HwStruct* structure, HwXMLArchive* archive);

    // Register-level tags.
    std::unique_ptr<HwXMLElement> manageValuableTag(const HwXmlElementView& element, HwXMLArchive* archive,
        const QString& typeName, const QString& tagName);
    bool manageBitsTag(const HwXmlElementView& element, HwValuable* valuable, HwXMLArchive* archive,
        HwBitGroup* group = nullptr);
    bool manageBitgroupTag(const HwXmlElementView& element, HwValuable* valuable, HwXMLArchive* archive);
    bool manageBitgroupEntryTag(
        const HwXmlElementView& element, HwBitGroup* group, HwValuable* valuable, HwXMLArchive* archive);
    bool manageOptionsTag(const HwXmlElementView& element, HwBitField* bitField, HwXMLArchive* archive);
    bool manageOptionsOptionTag(const HwXmlElementView& element, HwBitField* bitField, HwXMLArchive* archive);
    std::unique_ptr<HwXMLElement> manageHoleTag(
        const HwXmlElementView& element, HwXMLArchive* archive, const QString& typeName);
    bool manageSpacerTag(const HwXmlElementView& element, HwXMLArchive* archive);

    // Types, instances and declarations.
    std::unique_ptr<HwXMLElement> manageStructTag(
        const HwXmlElementView& element, HwXMLArchive* archive, const QString& typeName);
    std::unique_ptr<HwXMLElement> manageInstanceTag(
        const HwXmlElementView& element, HwXMLArchive* archive, const QString& typeName);
    HwXMLElement* manageInstanceTag(const HwXmlElementView& element, HwXMLArchive* archive);
    std::unique_ptr<HwXMLElement> managePtrTag(
        const HwXmlElementView& element, HwXMLArchive* archive, const QString& typeName);
    std::unique_ptr<HwXMLElement> manageMemoryTag(
        const HwXmlElementView& element, HwXMLArchive* archive, const QString& typeName);
    bool manageAliasTag(const HwXmlElementView& element, HwXMLArchive* archive);
    HwXMLElement* manageExternalTag(const HwXmlElementView& element, HwXMLArchive* archive);
    bool manageVarTag(const HwXmlElementView& element, HwXMLArchive* archive);
    bool manageRangeTag(const HwXmlElementView& element, HwXMLArchive* archive);
    bool manageEnumTag(const HwXmlElementView& element, HwXMLArchive* archive);
    bool manageEnumEntryTag(const HwXmlElementView& element, HwEnum* e, HwXMLArchive* archive);
    bool manageEnumBoundTag(const HwXmlElementView& element, HwEnum* e, HwXMLArchive* archive);

    /// Every message of the load goes through these, to the sink, with the file (the archive's total path, or
    /// the file path while no archive exists yet), the position (0 for a whole file) and a stable code.
    void ErrorMessage(const QString& file, int line, int column, const QString& text,
        const char* code = vellxml::code::Description) const;
    void WarningMessage(const QString& file, int line, int column, const QString& text,
        const char* code = vellxml::code::Description) const;
    void LogMessage(const QString& file, int line, int column, const QString& text,
        const char* code = vellxml::code::Progress) const;

private:
    /// The document element's tags of a parsed file: what loadArchiveFromFile does once the file is read.
    HwXMLArchive* readDocument(const HwXmlDocument& document, const QString& path, const QString& name,
        const QString& directory, HwRootArchive* root, XMDOpenError& result);
    void report(vellxml::Severity severity, const QString& file, int line, int column, const QString& text,
        const char* code) const;
    void reportError(const HwXMLArchive* archive, const HwXmlElementView& element, const QString& text,
        const char* code = vellxml::code::Description) const;
    /// Counts `count` new elements against the limit; reports and returns false when it is passed.
    bool charge(const HwXMLArchive* archive, const HwXmlElementView& element, std::int64_t count);
    /// The `count` attribute of an element that may be an array: its text, and its value when it is one.
    struct ArrayCount {
        QString text;
        bool isArray = false;
        int value = 0;
    };
    /// Reads and evaluates `count`. On an evaluation error reports "Tag defining '<typeName>' contains <kind>
    /// '<name>' with an error in its count expression !" (kind followed by " array" for valuables and
    /// pointers, which also refuse a negative count) and returns false.
    bool readArrayCount(const HwXMLArchive* archive, const HwXmlElementView& element, const QString& typeName,
        const QString& kind, const QString& name, bool valueArray, ArrayCount& count) const;
    /// Declares an enum entry or bound `name` = `value` as a variable of the archive linked to `e`.
    bool declareEnumVariable(const HwXmlElementView& element, HwEnum* e, HwXMLArchive* archive,
        const QString& name, const QString& value);
    /// Wraps `element` into an array of `count` items when the budget allows.
    std::unique_ptr<HwXMLElement> makeArray(const HwXMLArchive* archive, const HwXmlElementView& element,
        std::unique_ptr<HwXMLElement> item, int count, const QString& countText);
    std::unique_ptr<HwXMLElement> manageStructMember(
        const HwXmlElementView& child, HwXMLArchive* archive, const QString& typeName, bool& handled);

    vellxml::DiagnosticSink& m_sink;
    HwLoadLimits m_limits;
    int m_includeDepth = 0;
    // The include (or case) whose entry is being read, for the position of the depth message.
    const HwXmlElementView* m_includeElement = nullptr;
    std::int64_t m_elementCount = 0;
    // Null unless the description checks run.
    std::unique_ptr<vellxml::loader_p::DescriptionChecker> m_checker;
};

#endif
