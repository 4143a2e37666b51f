#ifndef VELLXML_LOADER_ARCHIVE_H
#define VELLXML_LOADER_ARCHIVE_H

#include <vellxml/expr/variables.h>
#include <vellxml/model/element.h>
#include <vellxml/vellxml_export.h>

#include <QHash>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

class HwArchiveLoader;
class HwMemoryMap;
class HwXMLArchive;

namespace vellxml::text_p {
class TextStore;
} // namespace vellxml::text_p

/// The result of loading one archive file.
enum XMDOpenError : int {
    XMD_OK = 0,
    XMD_NOT_OPENED = 1, ///< the file could not be opened
    XMD_ALREADY_LOADED = 2, ///< the existing archive is returned
    XMD_INVALID = 3 ///< the file was read but is no valid archive
};

/// The types (modules, typedefs, externals) that one archive defines, by type name. The archive owns the
/// elements; the registry only finds them.
class VELLXML_EXPORT HwTemplateManager {
public:
    explicit HwTemplateManager(HwXMLArchive* archive = nullptr)
        : m_archive(archive)
    {
    }

    /// Registers `element` under `typeName`; an earlier registration of the name is replaced. The root
    /// archive above the owning archive learns of it for its type index.
    void addTemplate(HwXMLElement* element, const QString& typeName);
    bool contains(const QString& typeName) const { return m_templates.contains(typeName); }
    /// The element registered under the name, or null.
    HwXMLElement* getTemplate(const QString& typeName) const { return m_templates.value(typeName, nullptr); }
    /// Type names in registration order.
    const QStringList& getTypeNames() const { return m_order; }

private:
    HwXMLArchive* m_archive;
    QHash<QString, HwXMLElement*> m_templates;
    QStringList m_order;
};

/// One `include` tag: the header of its unconditional file, its comment, and one entry per `case` read.
class VELLXML_EXPORT HwXMLInclude {
public:
    struct ConditionalEntry {
        QString condition;
        QString headerName;
    };

    const QString& getHeaderName() const { return m_headerName; }
    void setHeaderName(const QString& name) { m_headerName = name; }
    /// The header of the file included when no case holds, also when a case held and it was not loaded.
    const QString& getDefaultHeaderName() const { return m_headerName.isEmpty() ? m_defaultHeaderName : m_headerName; }
    void setDefaultHeaderName(const QString& name) { m_defaultHeaderName = name; }
    const QString& getComment() const { return m_comment; }
    void setComment(const QString& comment) { m_comment = comment; }
    const std::vector<ConditionalEntry>& getConditionalEntries() const { return m_entries; }
    void addConditionalEntry(const QString& condition, const QString& headerName)
    {
        m_entries.push_back({condition, headerName});
    }

private:
    QString m_headerName;
    QString m_defaultHeaderName;
    QString m_comment;
    std::vector<ConditionalEntry> m_entries;
};

/// One archive file of a chip description: its place (directory and relative name), generation options,
/// includes, variables, types and the elements its top-level tags declare.
///
/// Archives are elements so that they can parent what they declare: they have no size, no alignment and no
/// memory image. The root archive owns every archive; the included-archive list does not own.
class VELLXML_EXPORT HwXMLArchive : public HwXMLElement, public HwVariableScope {
public:
    explicit HwXMLArchive(const QString& name);
    ~HwXMLArchive() override;
    /// Instances are indexed by name by the root archive, which is told.
    void childRenamed() override;

    unsigned int sizeOf() const override;
    unsigned int getAlignConstraint() const override;
    QString getRubyClassName() const override;
    QString getRubyPrefix() const override;
    QString getTypeString() const override;
    void memSet(const unsigned char* image) override;
    void getReadMask(unsigned char* mask) const override;
    void memGet(unsigned char* image) const override;
    void dumpInfo(int level) const override;
    HwXMLArchive* asXMLArchive() override { return this; }
    /// Moving the archive may change the memory map whose globals it sees.
    void reparent(HwXMLElement* parent) override;

    /// Adopts the element (re-parented here) and appends it. Returns it.
    HwXMLElement* addElement(std::unique_ptr<HwXMLElement> element);
    const std::vector<std::unique_ptr<HwXMLElement>>& getElements() const { return m_elements; }

    // Place and generation options.
    const QString& getDirectory() const { return m_directory; }
    void setDirectory(const QString& directory) { m_directory = directory; }
    bool getGenerateAsm() const { return m_generateAsm; }
    void setGenerateAsm(bool on) { m_generateAsm = on; }
    bool getGenerateHeader() const { return m_generateHeader; }
    void setGenerateHeader(bool on) { m_generateHeader = on; }
    const QString& getVHDLPkgAttribute() const { return m_vhdlPkg; }
    void setVHDLPkgAttribute(const QString& name) { m_vhdlPkg = name; }
    const QString& getCJoker() const { return m_cjoker; }
    void setCJoker(const QString& text) { m_cjoker = text; }

    /// The directory, "/", the name, cleaned: the file named in every message about the archive.
    QString getTotalPath() const;
    /// The name itself when `withName`, else its directory part ("" when it has none).
    QString getRelativePath(bool withName) const;
    /// The name's file name up to its first dot.
    QString getBaseName() const;
    QString getHFileRelativeName() const;
    QString getASMFileRelativeName() const;
    QString getASMARMFileRelativeName() const;
    /// The `vhdlpkg` attribute, or the base name and "_reg_pkg".
    QString getVHDLPkgName() const;
    QString getVHDLFileRelativeName() const;

    // Includes.
    const std::vector<HwXMLArchive*>& getIncludedArchives() const { return m_includedArchives; }
    /// Appends an include; the expressions of this archive see its variables from now on.
    void addIncludedArchive(HwXMLArchive* archive);
    const QStringList& getIncludedHeaders() const { return m_includedHeaders; }
    void addIncludedHeader(const QString& header) { m_includedHeaders.append(header); }
    const std::vector<std::unique_ptr<HwXMLInclude>>& getIncludes() const { return m_includes; }
    HwXMLInclude* addInclude(std::unique_ptr<HwXMLInclude> include);

    // Variables and types.
    HwVariableManager& getVariableManager() { return *m_variables; }
    const HwVariableManager& getVariableManager() const { return *m_variables; }
    HwTemplateManager& getTemplateManager() { return m_templates; }
    const HwTemplateManager& getTemplateManager() const { return m_templates; }
    /// The type this archive defines under the name, or null.
    HwXMLElement* contains(const QString& typeName) const { return m_templates.getTemplate(typeName); }
    /// The memory map of the root archive above this one, or null.
    HwMemoryMap* getMemoryMap() const;

    /// Own variables, then those of the included archives (each once, depth first): the variables the
    /// generators write with this archive.
    std::vector<const HwIntVar*> getAllIncludedVariables() const;

    // C, assembly and VHDL generation (generators/).
    /// The fixed legal-notice block and the archive's comment, opening every generated header.
    QString c_header() const;
    /// The whole C header.
    QString c_content() override;
    /// The whole assembly header, addresses relative to the low half of each instance's base.
    QString asm_content() override;
    /// The whole ARM assembly header, with plain addresses.
    QString asmarm_content() override;
    /// The whole VHDL register package.
    QString vhdl_content() override;
    /// The archives reached through includes, each once, depth first, this one left out: those whose
    /// packages the VHDL package uses.
    std::vector<const HwXMLArchive*> getIncludedArchivesClosure() const;

    // HwVariableScope: the memory map's global variables, then those of the included archives, then the own
    // ones, so that a nearer declaration hides a farther one.
    std::vector<const HwIntVar*> getVisibleVariables() const override;
    std::vector<const HwVariableManager*> getIncludedVariableManagers() const override;
    bool hasVisibleParts() const override { return true; }
    const HwIntVarTable* getGlobalVariables() const override;
    std::size_t getIncludeCount() const override { return m_includedArchives.size(); }
    void collectIncludedVariables(std::size_t first, std::unordered_set<const HwVariableScope*>& seen,
        std::vector<const HwIntVar*>& out) const override;

private:
    friend class HwRootArchive;
    // The place in the root archive's load order, for its type index.
    std::size_t m_loadPosition = 0;
    std::vector<std::unique_ptr<HwXMLElement>> m_elements;
    QString m_directory;
    bool m_generateAsm = true;
    bool m_generateHeader = true;
    QString m_vhdlPkg;
    QString m_cjoker;
    std::vector<HwXMLArchive*> m_includedArchives;
    QStringList m_includedHeaders;
    std::vector<std::unique_ptr<HwXMLInclude>> m_includes;
    std::unique_ptr<HwVariableManager> m_variables;
    HwTemplateManager m_templates;
};

/// The top of a loaded chip: owns every archive of the tree and the instances placed at absolute addresses,
/// and finds types across the archives.
class VELLXML_EXPORT HwRootArchive : public HwXMLElement {
public:
    explicit HwRootArchive(const QString& name);
    HwRootArchive(HwMemoryMap* memoryMap, const QString& name);
    ~HwRootArchive() override;

    unsigned int sizeOf() const override;
    unsigned int getAlignConstraint() const override;
    QString getRubyClassName() const override;
    QString getRubyPrefix() const override;
    QString getTypeString() const override;
    void memSet(const unsigned char* image) override;
    void getReadMask(unsigned char* mask) const override;
    void memGet(unsigned char* image) const override;
    void dumpInfo(int level) const override;
    HwRootArchive* asRootArchive() override { return this; }
    /// Moving the root changes what the archives below it find above them.
    void reparent(HwXMLElement* parent) override;

    HwMemoryMap* getMemoryMap() const { return m_memoryMap; }

    /// Adopts the element (re-parented here) and appends it. Returns it.
    HwXMLElement* addElement(std::unique_ptr<HwXMLElement> element);
    const std::vector<std::unique_ptr<HwXMLElement>>& getElements() const { return m_elements; }
    /// The instances made by instanciateTemplate, in creation order.
    std::vector<HwXMLElement*> getInstanciatedTemplates() const;

    /// Takes the archive (parented here) and appends it to the load order. Returns it.
    HwXMLArchive* addXMLArchive(std::unique_ptr<HwXMLArchive> archive);
    const std::vector<std::unique_ptr<HwXMLArchive>>& getArchives() const { return m_archives; }
    /// The first archive of that directory and name (getRelativePath(true)), or null.
    HwXMLArchive* hasArchive(const QString& directory, const QString& name) const;
    /// The element defining the type, from the first archive (in load order) that has it; null if none.
    HwXMLElement* getTemplate(const QString& typeName) const;
    /// Keeps the type index current: `archive` has registered a type under the name.
    void noteTemplateAdded(const HwXMLArchive* archive, const QString& typeName);
    /// A copy of the type's element named `name`, at `address`, appended to the instances; null for an
    /// unknown type.
    HwXMLElement* instanciateTemplate(const QString& typeName, const QString& name, std::uint32_t address);

    /// A new, unattached element: a basic type ("void", "int8" ... "uint32", "bool", "memory") or a copy of
    /// a registered type, with the given name; null for an unknown type name.
    std::unique_ptr<HwXMLElement> allocateElementFromTypeName(const QString& typeName, const QString& name);

    // C, assembly and VHDL generation (generators/). Each writes something for every instance whose type
    // string is the type's, in instance order.
    /// The "REG_<INSTANCE>_BASE" defines, with their "#if defined(REG_ADDRESS_FOR_...)" alternatives.
    QString c_getMatchingInstancesBaseAddresses(HwXMLElement* type) const;
    /// The "hwp_<instance>" (module structures) or "p_<instance>" pointer defines, then a blank line.
    QString c_getMatchingInstancesInstanciation(HwXMLElement* type) const;
    /// The _HI/_LO base defines and the register addresses relative to the low half of the base.
    QString c_getMatchingInstancesAsmDescription(HwXMLElement* type) const;
    /// The register addresses of the ARM assembly header.
    QString c_getMatchingInstancesAsmArmDescription(HwXMLElement* type) const;
    /// The instances of that type string, in instance order. The index behind it is rebuilt when instances
    /// were added since it was built.
    const std::vector<HwXMLElement*>& getInstancesOfType(const QString& typeString) const;

    // Path lookup and completion (access/).
    /// The first instance, in creation order, whose name is `name`; null when none.
    HwXMLElement* getInstanceByName(const QString& name) const;
    /// The first answer, asking the instances in creation order, of getElementFromPathTokens; null if none.
    HwXMLElement* getElementFromInstances(const QStringList& tokens) const;
    /// An instance was renamed: the index of instances by name is rebuilt when next needed.
    void childRenamed() override;

private:
    friend class HwArchiveLoader;
    /// Where the loader keeps the texts of this chip; made on first use, deleted after every element.
    vellxml::text_p::TextStore& textStore();

    HwMemoryMap* m_memoryMap = nullptr;
    std::vector<std::unique_ptr<HwXMLArchive>> m_archives;
    // The first archive of each directory and name, for hasArchive().
    QHash<QString, HwXMLArchive*> m_archiveIndex;
    // For each type name, the first archive in load order that registered it: a type is found in one step
    // however many archives are loaded.
    QHash<QString, const HwXMLArchive*> m_typeIndex;
    std::vector<std::unique_ptr<HwXMLElement>> m_elements;
    std::vector<HwXMLElement*> m_instances;
    // The generators' index of the instances by type string, and the instance count it was built from.
    mutable QHash<QString, std::vector<HwXMLElement*>> m_instancesByType;
    mutable std::size_t m_indexedInstances = 0;

    // Instances by name for path lookup, built on first use (access/).
    mutable HwNameIndexPtr m_instanceIndex;
    std::unique_ptr<vellxml::text_p::TextStore> m_texts;
};

#endif
