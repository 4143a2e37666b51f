#ifndef VELLXML_LOADER_MEMORY_MAP_H
#define VELLXML_LOADER_MEMORY_MAP_H

#include <vellxml/expr/variables.h>
#include <vellxml/loader/description_checks.h>
#include <vellxml/loader/document.h>
#include <vellxml/model/element.h>
#include <vellxml/vellxml_export.h>

#include <QString>

#include <memory>

class HwRootArchive;

/// A loaded chip as the rest of the system sees it: the chip description's root archive, the soft
/// description's, the global variables every archive's expressions see, and the generators' options.
class VELLXML_EXPORT HwMemoryMap {
public:
    HwMemoryMap();
    ~HwMemoryMap();
    HwMemoryMap(const HwMemoryMap&) = delete;
    HwMemoryMap& operator=(const HwMemoryMap&) = delete;

    HwRootArchive* getChipRootArchive() const { return m_chipRoot.get(); }
    HwRootArchive* getSoftRootArchive() const { return m_softRoot.get(); }
    /// Takes the root, deleting the earlier one of the same kind.
    void setChipRootArchive(std::unique_ptr<HwRootArchive> root);
    void setSoftRootArchive(std::unique_ptr<HwRootArchive> root);

    /// Variables declared with global="yes" by any archive of either description.
    HwVariableManager& getGlobalVariables() { return *m_globals; }
    const HwVariableManager& getGlobalVariables() const { return *m_globals; }

    /// Generators skip a header whose file is newer than its description.
    bool getSkipNewerHeaders() const { return m_skipNewerHeaders; }
    void setSkipNewerHeaders(bool on) { m_skipNewerHeaders = on; }
    /// Generators also write the ARM flavour of the assembly headers.
    bool getGenerateArmAsm() const { return m_generateArmAsm; }
    void setGenerateArmAsm(bool on) { m_generateArmAsm = on; }

    /// The memory map currently in use by the debugger; process-wide, not locked.
    static HwMemoryMap* m_activeMemoryMap;
    /// Generator switches, process-wide: bitfield structures in C headers, leaving reserved fields out of
    /// them, and mask/shift macros for every bitfield.
    /// 0: no bitfield unions; 1: little-endian layout; 2: big-endian layout; 3: both, chosen by the
    /// compiler's byte order.
    static unsigned int m_bitfieldGen;
    static bool m_bitfieldGenIgnoreReserved;
    static bool m_forceMaskShift;

    // Path lookup and completion (access/).
    /// The element of the chip description that the path names, or null. The path is split at "."; one
    /// token names a top-level instance; with more, a leading "$" is dropped and each instance, in
    /// creation order, is asked with the tokens.
    HwXMLElement* getElementFromPath(const QString& path) const;
    /// The element a person names: a path as getElementFromPath reads it, or as HwXMLElement::getPath()
    /// prints it, where a top-level instance alone is "$" and its name. Tools resolve their users' paths
    /// with this, so that every path they list is found again.
    HwXMLElement* findElement(const QString& path) const;
    /// What may follow the last "." of the path: with one token, the top-level instances; else the list of
    /// the instance the first token names, for the rest of the path. The last token does not filter.
    CXMLCompletionList getCompletionListFromPath(const QString& path) const;
    /// The completion entry describing an element: its name, its type text as the result, its comment as
    /// the help, and the kind for its element type (17 with empty texts for kinds without an entry).
    static CXMLCompletionEntry getCompletionEntryFromElement(const HwXMLElement* element);

    // C headers, assembly headers and VHDL packages (generators/).
    /// Writes, under dir, the C header of every archive of the chip (which true) or soft (false) root, and
    /// the assembly headers of the archives that ask for them. Progress lines ("Avoiding %s", "Skipping %s")
    /// go to standard output. Each file is written whole or not at all; a file that cannot be written, or
    /// whose path would leave dir, is reported with its path and the reason to `sink` (an error diagnostic),
    /// or as a line on standard error without one. Returns false when some file could not be written.
    bool generateCHeaders(const QString& dir, bool which, vellxml::DiagnosticSink* sink = nullptr);
    /// Which files generateCHeaders writes besides the ARM flavour (getGenerateArmAsm): the C headers and
    /// the assembly headers, both by default. An archive that asks for no header still gets none.
    void setHeaderKinds(bool cHeaders, bool assemblyHeaders)
    {
        m_writeCHeaders = cHeaders;
        m_writeAsmHeaders = assemblyHeaders;
    }
    /// Writes, under dir, the VHDL register package of every archive of the chip root. Same file rules.
    bool generateVHDL(const QString& dir, vellxml::DiagnosticSink* sink = nullptr);

    // HTML documentation (htmldoc/).
    /// Writes the browsable documentation of the chip description into `dir` (made when missing): the fixed
    /// resources under docpool/, index.html (menu.html beside the content frame), chip.html (title page),
    /// menu.js with the tree menu, one page per instance named after it with ".html", and the lazily loaded
    /// menu/ and search/ chunks. Every file is written whole or not at all and nothing outside `dir` is
    /// touched; existing files of other names are left alone. Returns false, with the reason in `error`
    /// when given, if no chip is loaded or a file cannot be written. The output depends only on the model.
    bool generateDocumentation(const QString& dir, QString* error = nullptr) const;
    /// The same, reporting the reason of a failure to `sink` as an error diagnostic (code OutputWrite).
    bool generateDocumentation(const QString& dir, vellxml::DiagnosticSink& sink) const;

private:
    std::unique_ptr<HwRootArchive> m_chipRoot;
    std::unique_ptr<HwRootArchive> m_softRoot;
    std::unique_ptr<HwVariableManager> m_globals;
    bool m_skipNewerHeaders = false;
    bool m_generateArmAsm = false;
    bool m_writeCHeaders = true;
    bool m_writeAsmHeaders = true;
};

/// The entry of a load: reads a root file and everything it includes into a new root archive.
class VELLXML_EXPORT HwMemoryMapLoader {
public:
    /// Loads the chip (chip true) or soft description of `path` for `memoryMap`. Every problem, and each
    /// file read, is reported once to `sink` as a diagnostic. On success the memory map takes the new root
    /// (deleting an earlier one of the same kind) and it is returned; on failure, which always comes with an
    /// error diagnostic, null is returned and nothing built by the call remains. Without a memory map
    /// (null) the caller owns the returned root.
    HwRootArchive* loadRootArchiveFromFile(
        HwMemoryMap* memoryMap, const QString& path, vellxml::DiagnosticSink& sink, bool chip);
    /// The same with the three text callbacks (null ones are silent): each diagnostic goes to the callback
    /// of its severity as "file:line:column:text", or as its text alone when it names no file.
    HwRootArchive* loadRootArchiveFromFile(HwMemoryMap* memoryMap, const QString& path, HwMessageCallback log,
        HwMessageCallback error, HwMessageCallback warning, bool chip);

    /// The bounds of the next loads.
    HwLoadLimits& limits() { return m_limits; }
    /// The description checks of the next loads (off by default).
    HwDescriptionChecks& checks() { return m_checks; }

private:
    HwLoadLimits m_limits;
    HwDescriptionChecks m_checks;
};

#endif
