#include "description_checks_p.h"
#include "load_seams_p.h"
#include "tags_p.h"
#include "xml_element_p.h"

#include <vellxml/loader/archive.h>
#include "archive_loader_p.h"
#include <vellxml/model/composites.h>

#include <QDir>
#include <QFileInfo>

using vellxml::loader_p::countTree;
using vellxml::loader_p::evaluate;
using vellxml::loader_p::Evaluation;
using vellxml::loader_p::splitWords;

namespace {

QString headerNameOf(const QString& fileName)
{
    QString header = fileName;
    if (header.endsWith(QLatin1String(".xmd")))
        header = header.left(header.size() - 4) + QLatin1String(".h");
    if (header.endsWith(QLatin1String(".xml")))
        header = header.left(header.size() - 4) + QLatin1String(".h");
    return header;
}

} // namespace

HwArchiveLoader::HwArchiveLoader(vellxml::DiagnosticSink& sink, const HwLoadLimits& limits)
    : m_sink(sink)
    , m_limits(limits)
{
}

HwArchiveLoader::~HwArchiveLoader() = default;

void HwArchiveLoader::setDescriptionChecks(const HwDescriptionChecks& checks)
{
    if (checks.enabled)
        m_checker = std::make_unique<vellxml::loader_p::DescriptionChecker>(checks, m_sink);
    else
        m_checker.reset();
}

void HwArchiveLoader::finishDescriptionChecks()
{
    if (m_checker)
        m_checker->checkInstances();
}

void HwArchiveLoader::report(vellxml::Severity severity, const QString& file, int line, int column,
    const QString& text, const char* code) const
{
    vellxml::Diagnostic diagnostic;
    diagnostic.severity = severity;
    diagnostic.file = file;
    diagnostic.line = line;
    diagnostic.column = column;
    diagnostic.code = QString::fromLatin1(code);
    diagnostic.text = text;
    m_sink.report(diagnostic);
}

void HwArchiveLoader::ErrorMessage(
    const QString& file, int line, int column, const QString& text, const char* code) const
{
    report(vellxml::Severity::Error, file, line, column, text, code);
}

void HwArchiveLoader::WarningMessage(
    const QString& file, int line, int column, const QString& text, const char* code) const
{
    report(vellxml::Severity::Warning, file, line, column, text, code);
}

void HwArchiveLoader::LogMessage(
    const QString& file, int line, int column, const QString& text, const char* code) const
{
    report(vellxml::Severity::Log, file, line, column, text, code);
}

void HwArchiveLoader::reportError(
    const HwXMLArchive* archive, const HwXmlElementView& element, const QString& text, const char* code) const
{
    ErrorMessage(archive->getTotalPath(), element.line(), element.column(), text, code);
}

bool HwArchiveLoader::charge(const HwXMLArchive* archive, const HwXmlElementView& element, std::int64_t count)
{
    if (!vellxml::loader_p::allowElementAllocation()) {
        reportError(archive, element, QStringLiteral("Element allocation failed."), vellxml::code::Limit);
        return false;
    }
    if (count > m_limits.maxElements - m_elementCount) {
        reportError(archive, element,
            QStringLiteral("The load builds more than %1 elements.").arg(m_limits.maxElements),
            vellxml::code::Limit);
        m_elementCount = m_limits.maxElements;
        return false;
    }
    m_elementCount += count;
    return true;
}

bool HwArchiveLoader::readArrayCount(const HwXMLArchive* archive, const HwXmlElementView& element,
    const QString& typeName, const QString& kind, const QString& name, bool valueArray,
    ArrayCount& count) const
{
    count.text = element.attribute("count", QStringLiteral("notanarray"));
    count.isArray = count.text != QLatin1String("notanarray");
    count.value = 0;
    if (!count.isArray)
        return true;
    const Evaluation value = evaluate(archive, count.text);
    if (value.failed) {
        reportError(archive, element,
            QStringLiteral("Tag defining '%1' contains %2 '%3' with an error in its count expression !")
                .arg(typeName, valueArray ? kind + QStringLiteral(" array") : kind, name),
            vellxml::code::Expression);
        return false;
    }
    if (valueArray && value.value < 0) {
        reportError(archive, element,
            QStringLiteral("Invalid '%1' array count of type '%2' for array '%3'\n")
                .arg(count.text, kind, name));
        return false;
    }
    count.value = value.value;
    return true;
}

std::unique_ptr<HwXMLElement> HwArchiveLoader::makeArray(const HwXMLArchive* archive,
    const HwXmlElementView& element, std::unique_ptr<HwXMLElement> item, int count, const QString& countText)
{
    // The array keeps a prototype and makes `count` copies of it: charge them before they are built.
    const std::int64_t items = count > 0 ? count : 0;
    if (!charge(archive, element, items * countTree(item.get())))
        return nullptr;
    return std::make_unique<HwArray>(item->getName(), *item, count, countText);
}

HwXMLArchive* HwArchiveLoader::loadArchiveFromFile(const QString& path, const QString& name,
    const QString& directory, HwRootArchive* root, OpenProblem openProblem, XMDOpenError& result)
{
    result = XMD_OK;
    if (HwXMLArchive* existing = root->hasArchive(directory, name)) {
        result = XMD_ALREADY_LOADED;
        return existing;
    }

    // The document reader's messages are unpositioned.
    QByteArray bytes;
    QString reason;
    const int read = vellxml::loader_p::readArchiveFile(path, m_limits, bytes, reason);
    if (read == vellxml::loader_p::READ_NOT_OPENED) {
        const QString text = QStringLiteral("Unable to open file %1").arg(path);
        if (openProblem == OpenProblem::Fail)
            report(vellxml::Severity::Error, QString(), 0, 0, text, vellxml::code::FileOpen);
        else if (openProblem == OpenProblem::Warn)
            report(vellxml::Severity::Warning, QString(), 0, 0, text, vellxml::code::FileOpen);
        result = XMD_NOT_OPENED;
        return nullptr;
    }
    report(vellxml::Severity::Log, QString(), 0, 0, QStringLiteral("Loading %1...").arg(path),
        vellxml::code::Progress);
    if (read != vellxml::loader_p::READ_OK) {
        ErrorMessage(path, 0, 0, reason, vellxml::code::FileRead);
        result = XMD_INVALID;
        return nullptr;
    }
    HwXmlDocument document;
    int line = 0;
    int column = 0;
    if (!document.parse(bytes, m_limits, line, column, reason)) {
        ErrorMessage(path, line, column, reason, vellxml::code::XmlSyntax);
        result = XMD_INVALID;
        return nullptr;
    }
    if (root)
        document.setTextStore(&root->textStore());
    if (!m_checker)
        return readDocument(document, path, name, directory, root, result);
    // What the handlers read of this file, to find what they ignored once it is loaded.
    HwXmlReadRecord record;
    record.reserve(document.nodeCount());
    document.setReadRecord(&record);
    HwXMLArchive* archive = readDocument(document, path, name, directory, root, result);
    document.setReadRecord(nullptr);
    if (archive)
        m_checker->checkDocument(archive->getTotalPath(), document, record);
    return archive;
}

HwXMLArchive* HwArchiveLoader::readDocument(const HwXmlDocument& document, const QString& path,
    const QString& name, const QString& directory, HwRootArchive* root, XMDOpenError& result)
{

    result = XMD_INVALID;
    const HwXmlElementView top = document.documentElement();
    const LowerTag tag = top.lowerTag();
    if (tag == QLatin1String("bigarchive")) {
        HwXMLArchive* last = nullptr;
        for (const HwXmlElementView& child : top.childElements()) {
            if (child.lowerTag() != QLatin1String("archive")) {
                ErrorMessage(path, child.line(), child.column(),
                    QStringLiteral("Unvalid '%2' tag.\n").arg(child.tagName()), vellxml::code::ArchiveFormat);
                return nullptr;
            }
            last = manageArchiveTag(child, name, directory, root);
            if (!last)
                return nullptr;
        }
        result = XMD_OK;
        return last;
    }
    if (tag == QLatin1String("archive")) {
        HwXMLArchive* archive = manageArchiveTag(top, name, directory, root);
        if (archive)
            result = XMD_OK;
        return archive;
    }
    if (tag == QLatin1String("module")) {
        WarningMessage(path, 0, 0,
            QStringLiteral(
                "You are using an old archive format! Please enclose the content of your file into an "
                "<archive> tag!"),
            vellxml::code::ArchiveFormat);
        auto created = std::make_unique<HwXMLArchive>(name);
        created->setDirectory(directory);
        HwXMLArchive* archive = root->addXMLArchive(std::move(created));
        // A failed archive stays with the root archive until the failure reaches the top of the load,
        // which deletes the whole tree: other archives may already refer to it through include cycles.
        if (!manageModuleOrTypedefTag(top, archive))
            return nullptr;
        result = XMD_OK;
        return archive;
    }
    if (tag == QLatin1String("chip") || tag == QLatin1String("soft")) {
        ErrorMessage(path, 0, 0,
            QStringLiteral("Old archive format! Please edit your xml files to conform to the new norm."),
            vellxml::code::ArchiveFormat);
        return nullptr;
    }
    ErrorMessage(path, 0, 0, QStringLiteral("Bad archive format!"), vellxml::code::ArchiveFormat);
    return nullptr;
}

HwXMLArchive* HwArchiveLoader::manageArchiveTag(
    const HwXmlElementView& element, const QString& name, const QString& directory, HwRootArchive* root)
{
    const QString relative = element.attribute("relative");
    const QString asmFlag = element.attribute("asm", QStringLiteral("yes"));
    const QString hFlag = element.attribute("h", QStringLiteral("yes"));
    const QString vhdlPkg = element.attribute("vhdlpkg");

    auto created = std::make_unique<HwXMLArchive>(relative.isEmpty() ? name : relative);
    created->setDirectory(directory);
    created->setGenerateAsm(asmFlag == QLatin1String("yes"));
    created->setGenerateHeader(hFlag == QLatin1String("yes"));
    created->setVHDLPkgAttribute(vhdlPkg);
    HwXMLArchive* archive = root->addXMLArchive(std::move(created));
    if (!charge(archive, element, 1))
        return nullptr;

    for (const HwXmlElementView& child : element.childElements()) {
        const LowerTag tag = child.lowerTag();
        bool ok = true;
        if (tag == QLatin1String("module") || tag == QLatin1String("typedef")) {
            ok = manageModuleOrTypedefTag(child, archive);
        } else if (tag == QLatin1String("include")) {
            const int included = manageIncludeTag(child, archive);
            if (included == 1)
                WarningMessage(
                    archive->getTotalPath(), 0, 0, QStringLiteral("Skipped."), vellxml::code::IncludeSkipped);
            ok = included != 3;
        } else if (tag == QLatin1String("spacer")) {
            ok = manageSpacerTag(child, archive);
        } else if (tag == QLatin1String("var")) {
            ok = manageVarTag(child, archive);
        } else if (tag == QLatin1String("range")) {
            ok = manageRangeTag(child, archive);
        } else if (tag == QLatin1String("enum")) {
            ok = manageEnumTag(child, archive);
        } else if (tag == QLatin1String("instance")) {
            ok = manageInstanceTag(child, archive) != nullptr;
        } else if (tag == QLatin1String("comment")) {
            archive->setComment(readCommentFromCommentTag(child));
        } else if (tag == QLatin1String("cjoker")) {
            archive->setCJoker(readCJokerFromCommentTag(child));
        } else if (tag == QLatin1String("alias")) {
            ok = manageAliasTag(child, archive);
        } else if (tag == QLatin1String("external")) {
            ok = manageExternalTag(child, archive) != nullptr;
        } else {
            reportError(archive, child, QStringLiteral("Unvalid tag : '%1'").arg(child.tagName()));
            ok = false;
        }
        if (!ok)
            return nullptr;
    }
    return archive;
}

int HwArchiveLoader::manageIncludeTag(const HwXmlElementView& element, HwXMLArchive* archive)
{
    const bool load = element.attribute("load", QStringLiteral("yes")) == QLatin1String("yes");
    QString file = element.attribute("file");
    bool optional = element.attribute("optional", QStringLiteral("no")) == QLatin1String("yes");
    HwXMLInclude* include = archive->addInclude(std::make_unique<HwXMLInclude>());
    bool hasCases = false;
    bool taken = false;
    for (const HwXmlElementView& child : element.childElements()) {
        const LowerTag tag = child.lowerTag();
        if (tag == QLatin1String("case")) {
            const QString condition = child.attribute("cond", QStringLiteral("0"));
            const QString caseFile = child.attribute("file");
            const bool caseOptional =
                child.attribute("optional", QStringLiteral("no")) == QLatin1String("yes");
            const Evaluation value = evaluate(archive, condition);
            if (value.failed) {
                reportError(archive, child,
                    QStringLiteral("Condition '%1' of include '%2' contains an error in its expression !")
                        .arg(condition, caseFile),
                    vellxml::code::Expression);
                return 3;
            }
            // Every case is recorded; only the first one that holds is loaded.
            const bool loadThis = value.value != 0 && load && !taken;
            if (loadThis)
                taken = true;
            m_includeElement = &child;
            if (manageIncludeEntry(archive, include, caseFile, condition, loadThis, caseOptional) == 3)
                return 3;
            hasCases = true;
        } else if (tag == QLatin1String("default")) {
            file = child.attribute("file");
            optional = child.attribute("optional", QStringLiteral("no")) == QLatin1String("yes");
        } else if (tag == QLatin1String("comment")) {
            include->setComment(readCommentFromCommentTag(child));
        } else {
            reportError(archive, child,
                QStringLiteral("Include contains an unvalid '%2' tag.\n").arg(child.tagName()));
            return 3;
        }
    }
    if (hasCases && taken) {
        if (!file.isEmpty())
            include->setDefaultHeaderName(headerNameOf(QDir::cleanPath(file)));
        return 0;
    }
    m_includeElement = &element;
    return manageIncludeEntry(archive, include, file, QString(), load, optional);
}

int HwArchiveLoader::manageIncludeEntry(HwXMLArchive* archive, HwXMLInclude* include, const QString& file,
    const QString& condition, bool load, bool optional)
{
    const QString relativeDirectory = archive->getRelativePath(false);
    const QString relativeName =
        QDir::cleanPath(relativeDirectory.isEmpty() ? file : relativeDirectory + QLatin1Char('/') + file);
    const QString fullPath = QDir::cleanPath(archive->getDirectory() + QLatin1Char('/') + relativeName);
    // The record names the header by its path from the including header, as the generated headers include
    // each other (archives of one file name in different folders stay apart); the archive's list by its
    // path from the root directory. Conditional entries stay in the record only.
    const QString headerName = headerNameOf(QDir::cleanPath(file));
    if (condition.isEmpty()) {
        include->setHeaderName(headerName);
        archive->addIncludedHeader(
            headerNameOf(relativeDirectory.isEmpty() ? file : relativeDirectory + QLatin1Char('/') + file));
    } else {
        include->addConditionalEntry(condition, headerName);
    }
    if (!load)
        return XMD_OK;

    if (m_includeDepth >= m_limits.maxIncludeDepth) {
        const QString text =
            QStringLiteral("Includes are nested deeper than %1 levels.").arg(m_limits.maxIncludeDepth);
        if (m_includeElement)
            reportError(archive, *m_includeElement, text, vellxml::code::Limit);
        else
            ErrorMessage(archive->getTotalPath(), 0, 0, text, vellxml::code::Limit);
        return XMD_INVALID;
    }
    XMDOpenError result = XMD_OK;
    ++m_includeDepth;
    HwXMLArchive* loaded = loadArchiveFromFile(fullPath, relativeName, archive->getDirectory(),
        archive->getRootArchive(), optional ? OpenProblem::Ignore : OpenProblem::Warn, result);
    --m_includeDepth;
    if (loaded) {
        archive->addIncludedArchive(loaded);
        return XMD_OK;
    }
    if (result == XMD_NOT_OPENED && optional)
        return XMD_OK;
    return result;
}

bool HwArchiveLoader::manageModuleOrTypedefTag(const HwXmlElementView& element, HwXMLArchive* archive)
{
    const LowerTag tag = element.lowerTag();
    if (tag != QLatin1String("module") && tag != QLatin1String("typedef")) {
        reportError(archive, element, QStringLiteral("\"module\" or \"typedef\" tag not found."));
        return false;
    }
    const QString name = element.attribute("name");
    QString category = element.attribute("category");
    const QStringList keywords = splitWords(element.attribute("ckeywords"));
    if (name.isEmpty()) {
        reportError(archive, element, QStringLiteral("module has no name !"));
        return false;
    }
    if (category.isEmpty())
        category = QStringLiteral("Unclassified");
    if (!charge(archive, element, 1))
        return false;
    auto structure = std::make_unique<HwStruct>(name, name);
    structure->reparent(archive);
    structure->setCategory(category);
    if (tag == QLatin1String("typedef")) {
        structure->setTypedef(true);
    } else {
        structure->setTypedef(false);
        structure->addCKeywords(QStringList {QStringLiteral("volatile")});
    }
    structure->addCKeywords(keywords);
    if (!manageModuleOrTypedefTag(element, structure.get(), archive))
        return false;
    const QString typeName = structure->getTypeString();
    HwRootArchive* root = archive->getRootArchive();
    if (root && root->getTemplate(typeName)) {
        reportError(
            archive, element, QStringLiteral("Type '%1' already exists or already loaded !)").arg(typeName),
            vellxml::code::DuplicateType);
        return false;
    }
    HwXMLElement* added = archive->addElement(std::move(structure));
    archive->getTemplateManager().addTemplate(added, typeName);
    return true;
}

std::unique_ptr<HwXMLElement> HwArchiveLoader::manageStructMember(
    const HwXmlElementView& child, HwXMLArchive* archive, const QString& typeName, bool& handled)
{
    const LowerTag tag = child.lowerTag();
    handled = true;
    static const QLatin1String valuableTags[] {QLatin1String("reg"), QLatin1String("reg32"),
        QLatin1String("reg16"), QLatin1String("reg8"), QLatin1String("ireg"), QLatin1String("uint"),
        QLatin1String("uint32"), QLatin1String("uint16"), QLatin1String("uint8"), QLatin1String("int"),
        QLatin1String("int32"), QLatin1String("int16"), QLatin1String("int8"), QLatin1String("bool")};
    for (const QLatin1String valuableTag : valuableTags) {
        if (tag == valuableTag)
            return manageValuableTag(child, archive, typeName, tag.toString());
    }
    if (tag == QLatin1String("hole"))
        return manageHoleTag(child, archive, typeName);
    if (tag == QLatin1String("struct"))
        return manageStructTag(child, archive, typeName);
    if (tag == QLatin1String("instance"))
        return manageInstanceTag(child, archive, typeName);
    if (tag == QLatin1String("ptr"))
        return managePtrTag(child, archive, typeName);
    if (tag == QLatin1String("memory"))
        return manageMemoryTag(child, archive, typeName);
    handled = false;
    return nullptr;
}

bool HwArchiveLoader::manageModuleOrTypedefTag(
    const HwXmlElementView& element, HwStruct* structure, HwXMLArchive* archive)
{
    if (element.attribute("rubyconstants", QStringLiteral("no")) == QLatin1String("yes"))
        structure->setRubyConstants(true);
    const QString typeName = structure->getName();
    vellxml::loader_p::DescriptionChecker::MemberList members;
    for (const HwXmlElementView& child : element.childElements()) {
        const LowerTag tag = child.lowerTag();
        bool ok = true;
        if (tag == QLatin1String("spacer")) {
            ok = manageSpacerTag(child, archive);
        } else if (tag == QLatin1String("var")) {
            ok = manageVarTag(child, archive);
        } else if (tag == QLatin1String("range")) {
            ok = manageRangeTag(child, archive);
        } else if (tag == QLatin1String("enum")) {
            ok = manageEnumTag(child, archive);
        } else if (tag == QLatin1String("comment")) {
            structure->setComment(readCommentFromCommentTag(child));
        } else if (tag == QLatin1String("reg")) {
            // A module lists "reg32" and not "reg"; a struct accepts both. Keep them apart.
            reportError(
                archive, child, QStringLiteral("Module contains an unvalid %1 tag.\n").arg(child.tagName()));
            ok = false;
        } else {
            bool handled = false;
            std::unique_ptr<HwXMLElement> member = manageStructMember(child, archive, typeName, handled);
            if (!handled) {
                reportError(archive, child,
                    QStringLiteral("Module contains an unvalid %1 tag.\n").arg(child.tagName()));
                ok = false;
            } else if (!member) {
                ok = false;
            } else {
                const unsigned int end = structure->getCurrentSize();
                const HwXMLElement* added = structure->addElement(std::move(member));
                if (m_checker)
                    m_checker->checkMember(
                        members, archive, child, structure, added, end, !structure->isTypedef());
            }
        }
        if (!ok)
            return false;
    }
    return true;
}
