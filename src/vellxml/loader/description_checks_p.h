#ifndef VELLXML_LOADER_DESCRIPTION_CHECKS_P_H
#define VELLXML_LOADER_DESCRIPTION_CHECKS_P_H

#include "xml_element_p.h"

#include <vellxml/diagnostic.h>
#include <vellxml/loader/description_checks.h>
#include <vellxml/loader/document.h>

#include <QHash>
#include <QSet>
#include <QString>

#include <cstdint>
#include <vector>

class HwBitField;
class HwRootArchive;
class HwStruct;
class HwValuable;
class HwXMLArchive;
class HwXMLElement;

namespace vellxml::loader_p {

/// The optimal-string-alignment distance of two names, compared without case: what "did you mean" uses.
int nameDistance(const QString& a, const QString& b);
/// The candidate closest to `name` when it is close enough to be a likely misspelling, else empty.
QString closestName(const QString& name, const QStringList& candidates);

/// Runs the description checks of one load. The loader calls it where it has what a check needs (a
/// field's evaluated position, the members of a finished structure) and the checks keep only what a
/// later comparison needs, so that a load with checks costs little more than one without.
class DescriptionChecker {
public:
    DescriptionChecker(const HwDescriptionChecks& options, vellxml::DiagnosticSink& sink);

    /// The one way out of every finding: a warning with its code, its text ending in " [code]" so that a
    /// reader of the plain message can look the code up, unless the code is silenced.
    void report(const char* code, const QString& file, int line, int column, const QString& text) const;
    void report(const char* code, const HwXMLArchive* archive, const HwXmlElementView& element,
        const QString& text) const;

    /// Attributes no handler asked for and elements no handler looked at, in a document whose load has
    /// finished (the record holds what the handlers read).
    void checkDocument(
        const QString& file, const HwXmlDocument& document, const HwXmlReadRecord& record) const;

    /// A field as written, before a cut splits it: its bits against the register, its reset value
    /// against its width. `resetText` is the `rst` attribute as written.
    void checkField(const HwXMLArchive* archive, const HwXmlElementView& element, const HwValuable* valuable,
        const QString& name, int up, int down, bool hasReset, const QString& resetText, std::uint32_t reset,
        bool cut);
    /// One piece of a cut field, by the name it was given.
    void notePiece(const HwXMLArchive* archive, const HwXmlElementView& element, const QString& name)
    {
        m_fields.push_back(Field {name, 0, 0, archive, element, false, true});
    }
    /// An option value against its field's width, and a second option of one name.
    void checkOption(const HwXMLArchive* archive, const HwXmlElementView& element, const HwBitField* field,
        const QString& name, std::uint32_t value) const;
    /// Every field of a finished register against the others: shared bits, shared names. The fields are
    /// those checkField saw since the register began.
    void beginRegister() { m_fields.clear(); }
    void finishRegister(const HwXMLArchive* archive, const HwValuable* valuable);
    /// A hole that is not a whole number of bytes.
    void checkHole(const HwXMLArchive* archive, const HwXmlElementView& element, int bits) const;

    /// The members of one structure (module, typedef, struct or alias) as they are added: a second
    /// member of one name, a member that alignment moves past the end of the one before.
    struct MemberList {
        QHash<QString, int> lines;
    };
    /// `expectedOffset` is where the member would start without alignment; it is compared only in a
    /// module (`registers`), whose members are registers at addresses: typedefs and structs follow C's
    /// layout, where alignment padding is expected.
    void checkMember(MemberList& members, const HwXMLArchive* archive, const HwXmlElementView& element,
        const HwStruct* structure, const HwXMLElement* member, unsigned int expectedOffset,
        bool registers) const;

    /// Instances placed at archive level, compared when the whole load is done.
    void noteInstance(
        const HwXMLArchive* archive, const HwXmlElementView& element, const HwXMLElement* instance);
    void checkInstances();

private:
    struct Place {
        QString file;
        int line = 0;
        int column = 0;
    };
    struct Field {
        QString name;
        int up;
        int down;
        const HwXMLArchive* archive;
        HwXmlElementView element;
        bool interval; // compared for shared bits: one per field as written
        bool named; // compared for shared names: one per field the register gets
    };
    struct Instance {
        const HwXMLElement* element = nullptr;
        Place place;
    };
    static Place placeOf(const HwXMLArchive* archive, const HwXmlElementView& element);

    vellxml::DiagnosticSink& m_sink;
    QSet<QString> m_silenced;
    std::vector<Field> m_fields;
    std::vector<Instance> m_instances;
};

} // namespace vellxml::loader_p

#endif
