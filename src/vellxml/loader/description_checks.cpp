// The description checks: what a load accepts but its author almost never means.

#include "description_checks_p.h"

#include <vellxml/loader/archive.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>

namespace {

// The codes, in the order docs/checks.md describes them.
const char codeUnknownAttribute[] = "unknown-attribute";
const char codeUnknownTag[] = "unknown-tag";
const char codeFieldWidth[] = "field-beyond-register";
const char codeFieldOverlap[] = "field-overlap";
const char codeResetWidth[] = "reset-too-wide";
const char codeOptionWidth[] = "option-too-wide";
const char codeDuplicateField[] = "duplicate-field";
const char codeDuplicateOption[] = "duplicate-option";
const char codeDuplicateMember[] = "duplicate-member";
const char codeMemberPadding[] = "member-padding";
const char codeHoleSize[] = "hole-size";
const char codeInstanceOverlap[] = "instance-overlap";

QString hexText(std::uint64_t value)
{
    return QStringLiteral("0x") + QString::number(value, 16).toUpper();
}

QString bitsText(int up, int down)
{
    return up == down ? QStringLiteral("bit %1").arg(up) : QStringLiteral("bits %1:%2").arg(up).arg(down);
}

QString plural(long long count, const char* one)
{
    return QStringLiteral("%1 %2%3").arg(count).arg(QLatin1String(one)).arg(count == 1 ? "" : "s");
}

// A value that needs more than `width` bits.
bool wider(std::uint32_t value, int width)
{
    return width < 32 && (width <= 0 || (value >> width) != 0);
}

// Namespace declarations and qualified attributes (xmlns, xsi:schemaLocation) are for editors.
bool forEditors(const char* name)
{
    return std::strncmp(name, "xmlns", 5) == 0 || std::strchr(name, ':') != nullptr;
}

} // namespace

QStringList HwDescriptionChecks::codes()
{
    return {QLatin1String(codeUnknownAttribute), QLatin1String(codeUnknownTag), QLatin1String(codeFieldWidth),
        QLatin1String(codeFieldOverlap), QLatin1String(codeResetWidth), QLatin1String(codeOptionWidth),
        QLatin1String(codeDuplicateField), QLatin1String(codeDuplicateOption),
        QLatin1String(codeDuplicateMember), QLatin1String(codeMemberPadding), QLatin1String(codeHoleSize),
        QLatin1String(codeInstanceOverlap)};
}

namespace vellxml::loader_p {

int nameDistance(const QString& a, const QString& b)
{
    const QString x = a.toLower();
    const QString y = b.toLower();
    const qsizetype n = x.size();
    const qsizetype m = y.size();
    // Three rows of the optimal-string-alignment table: a swap of two neighbours ("rts") costs one.
    std::vector<int> before(static_cast<std::size_t>(m + 1));
    std::vector<int> previous(static_cast<std::size_t>(m + 1));
    std::vector<int> current(static_cast<std::size_t>(m + 1));
    for (qsizetype j = 0; j <= m; ++j)
        previous[static_cast<std::size_t>(j)] = static_cast<int>(j);
    for (qsizetype i = 1; i <= n; ++i) {
        current[0] = static_cast<int>(i);
        for (qsizetype j = 1; j <= m; ++j) {
            const auto u = static_cast<std::size_t>(j);
            const int cost = x.at(i - 1) == y.at(j - 1) ? 0 : 1;
            int best = std::min({previous[u] + 1, current[u - 1] + 1, previous[u - 1] + cost});
            if (i > 1 && j > 1 && x.at(i - 1) == y.at(j - 2) && x.at(i - 2) == y.at(j - 1))
                best = std::min(best, before[u - 2] + 1);
            current[u] = best;
        }
        std::swap(before, previous);
        std::swap(previous, current);
    }
    return previous[static_cast<std::size_t>(m)];
}

QString closestName(const QString& name, const QStringList& candidates)
{
    // One edit in three characters: "adress" is "address", "id" is not "h".
    const int allowed = std::max<int>(1, static_cast<int>(std::min<qsizetype>(name.size(), 9) / 3));
    QString best;
    int bestDistance = allowed + 1;
    for (const QString& candidate : candidates) {
        if (candidate == name)
            continue;
        const int distance = nameDistance(name, candidate);
        if (distance < bestDistance) {
            best = candidate;
            bestDistance = distance;
        }
    }
    return best;
}

DescriptionChecker::DescriptionChecker(const HwDescriptionChecks& options, vellxml::DiagnosticSink& sink)
    : m_sink(sink)
{
    for (const QString& code : options.silenced)
        m_silenced.insert(code);
}

void DescriptionChecker::report(
    const char* code, const QString& file, int line, int column, const QString& text) const
{
    if (m_silenced.contains(QLatin1String(code)))
        return;
    vellxml::Diagnostic diagnostic;
    diagnostic.severity = vellxml::Severity::Warning;
    diagnostic.file = file;
    diagnostic.line = line;
    diagnostic.column = column;
    diagnostic.code = QLatin1String(code);
    diagnostic.text = QStringLiteral("%1 [%2]").arg(text, QLatin1String(code));
    m_sink.report(diagnostic);
}

void DescriptionChecker::report(
    const char* code, const HwXMLArchive* archive, const HwXmlElementView& element, const QString& text) const
{
    report(code, archive->getTotalPath(), element.line(), element.column(), text);
}

DescriptionChecker::Place DescriptionChecker::placeOf(
    const HwXMLArchive* archive, const HwXmlElementView& element)
{
    return Place {archive->getTotalPath(), element.line(), element.column()};
}

void DescriptionChecker::checkDocument(
    const QString& file, const HwXmlDocument& document, const HwXmlReadRecord& record) const
{
    // One walk over the elements the handlers read: their attributes against the names asked for, their
    // children against what was read. Nothing is converted or collected unless something is found.
    struct Ignored {
        HwXmlElementView element;
        HwXmlElementView parent;
    };
    std::vector<Ignored> ignored;
    std::vector<HwXmlElementView> pending {document.documentElement()};
    std::vector<HwXmlElementView> children;
    std::vector<const char*> names;
    while (!pending.empty()) {
        const HwXmlElementView element = pending.back();
        pending.pop_back();
        const HwXmlReadRecord::Entry* entry = record.find(element.identity());
        if (!entry || entry->markup)
            continue;
        element.attributeNames(names);
        for (const char* name : names) {
            if (record.asked(*entry, name) || forEditors(name))
                continue;
            QStringList asked;
            for (const char* each : record.askedNames(*entry))
                asked.append(QString::fromUtf8(each));
            const QString text = QString::fromUtf8(name);
            const QString suggestion = closestName(text, asked);
            int line = 0;
            int column = 0;
            element.attributePosition(name, line, column);
            report(codeUnknownAttribute, file, line, column,
                QStringLiteral("attribute '%1' of '%2' is not part of the format and is ignored%3")
                    .arg(text, element.tagName(),
                        suggestion.isEmpty() ? QString()
                                             : QStringLiteral("; did you mean '%1'?").arg(suggestion)));
        }
        // Children go on the stack reversed, so that the walk meets them in document order.
        children.clear();
        for (const HwXmlElementView& child : element.childElements())
            children.push_back(child);
        for (auto it = children.rbegin(); it != children.rend(); ++it) {
            if (record.find(it->identity()))
                pending.push_back(*it);
            else
                ignored.push_back(Ignored {*it, element});
        }
    }
    if (ignored.empty())
        return;

    // A misspelt tag is compared with the tags read inside the same kind of tag anywhere in the file,
    // then with any tag read in the file.
    std::map<QString, std::set<QString>> readBelow;
    std::set<QString> readAnywhere;
    pending.assign(1, document.documentElement());
    while (!pending.empty()) {
        const HwXmlElementView element = pending.back();
        pending.pop_back();
        const HwXmlReadRecord::Entry* entry = record.find(element.identity());
        if (!entry || entry->markup)
            continue;
        const QString tag = element.lowerTagName();
        for (const HwXmlElementView& child : element.childElements()) {
            if (!record.find(child.identity()))
                continue;
            readBelow[tag].insert(child.lowerTagName());
            readAnywhere.insert(child.lowerTagName());
            pending.push_back(child);
        }
    }
    std::sort(ignored.begin(), ignored.end(), [](const Ignored& a, const Ignored& b) {
        return a.element.line() != b.element.line() ? a.element.line() < b.element.line()
                                                    : a.element.column() < b.element.column();
    });
    for (const Ignored& each : ignored) {
        const QString tag = each.element.lowerTagName();
        const QString parent = each.parent.lowerTagName();
        const auto below = readBelow.find(parent);
        QString suggestion;
        if (below != readBelow.end())
            suggestion = closestName(tag, QStringList(below->second.begin(), below->second.end()));
        if (suggestion.isEmpty())
            suggestion = closestName(tag, QStringList(readAnywhere.begin(), readAnywhere.end()));
        report(codeUnknownTag, file, each.element.line(), each.element.column(),
            QStringLiteral("tag '%1' is not read inside '%2' and is ignored%3")
                .arg(each.element.tagName(), parent,
                    suggestion.isEmpty() ? QString()
                                         : QStringLiteral("; did you mean '%1'?").arg(suggestion)));
    }
}

void DescriptionChecker::checkField(const HwXMLArchive* archive, const HwXmlElementView& element,
    const HwValuable* valuable, const QString& name, int up, int down, bool hasReset,
    const QString& resetText, std::uint32_t reset, bool cut)
{
    const int registerBits = static_cast<int>(valuable->getBitSize());
    if (registerBits > 0 && (up >= registerBits || down < 0)) {
        report(codeFieldWidth, archive, element,
            QStringLiteral("field '%1' (%2) lies outside the %3 of %4 '%5'")
                .arg(name, bitsText(up, down), plural(registerBits, "bit"),
                    valuable->getTypeString().toLower(), valuable->getName()));
    }
    const long long width = static_cast<long long>(up) - down + 1;
    if (hasReset && resetText.toLower() != QLatin1String("all1") && wider(reset, static_cast<int>(width))) {
        int line = 0;
        int column = 0;
        element.attributePosition("rst", line, column);
        report(codeResetWidth, archive->getTotalPath(), line, column,
            QStringLiteral("reset value %1 of field '%2' does not fit in its %3")
                .arg(hexText(reset), name, plural(width, "bit")));
    }
    m_fields.push_back(Field {name, up, down, archive, element, true, !cut});
}

void DescriptionChecker::checkOption(const HwXMLArchive* archive, const HwXmlElementView& element,
    const HwBitField* field, const QString& name, std::uint32_t value) const
{
    const long long width = static_cast<long long>(field->getUpPos()) - field->getDownPos() + 1;
    if (wider(value, static_cast<int>(width))) {
        report(codeOptionWidth, archive, element,
            QStringLiteral("value %1 of option '%2' does not fit in the %3 of field '%4'")
                .arg(hexText(value), name, plural(width, "bit"), field->getName()));
    }
    for (const HwBitFieldOption& option : field->getOptions()) {
        if (option.name == name) {
            report(codeDuplicateOption, archive, element,
                QStringLiteral("field '%1' already has an option '%2'").arg(field->getName(), name));
            break;
        }
    }
}

void DescriptionChecker::finishRegister(const HwXMLArchive* archive, const HwValuable* valuable)
{
    // Sorted by their low bit, a field overlaps an earlier one when it starts at or below the highest bit
    // seen so far: one pass finds each field that shares bits, naming the field that reaches furthest.
    std::vector<const Field*> order;
    order.reserve(m_fields.size());
    for (const Field& field : m_fields) {
        if (field.interval)
            order.push_back(&field);
    }
    std::stable_sort(
        order.begin(), order.end(), [](const Field* a, const Field* b) { return a->down < b->down; });
    const Field* reach = nullptr;
    for (const Field* field : order) {
        if (reach && field->down <= reach->up) {
            // Report at the field written later, which is where the author looks for the mistake.
            const bool laterIsField = reach < field;
            const Field* later = laterIsField ? field : reach;
            const Field* earlier = laterIsField ? reach : field;
            report(codeFieldOverlap, later->archive, later->element,
                QStringLiteral("field '%1' (%2) shares bits with field '%3' (%4, line %5) of %6 '%7'")
                    .arg(later->name, bitsText(later->up, later->down), earlier->name,
                        bitsText(earlier->up, earlier->down), QString::number(earlier->element.line()),
                        valuable->getTypeString().toLower(), valuable->getName()));
        }
        if (!reach || field->up > reach->up)
            reach = field;
    }
    QHash<QString, const Field*> names;
    names.reserve(static_cast<qsizetype>(m_fields.size()));
    for (const Field& field : m_fields) {
        if (!field.named)
            continue;
        const auto first = names.constFind(field.name);
        if (first == names.cend()) {
            names.insert(field.name, &field);
            continue;
        }
        report(codeDuplicateField, field.archive, field.element,
            QStringLiteral("%1 '%2' already has a field '%3' (line %4); only the first is reachable by path")
                .arg(valuable->getTypeString().toLower(), valuable->getName(), field.name,
                    QString::number((*first)->element.line())));
    }
    (void)archive;
    m_fields.clear();
}

void DescriptionChecker::checkHole(
    const HwXMLArchive* archive, const HwXmlElementView& element, int bits) const
{
    if (bits >= 0 && bits % 8 == 0)
        return;
    report(codeHoleSize, archive, element,
        QStringLiteral("hole of %1 takes %2: holes are sized in bits and take whole bytes")
            .arg(plural(bits, "bit"), plural(bits < 0 ? 0 : bits / 8, "byte")));
}

void DescriptionChecker::checkMember(MemberList& members, const HwXMLArchive* archive,
    const HwXmlElementView& element, const HwStruct* structure, const HwXMLElement* member,
    unsigned int expectedOffset, bool registers) const
{
    const unsigned int offset = member->getAddress() - structure->getAddress();
    if (registers && offset != expectedOffset) {
        report(codeMemberPadding, archive, element,
            QStringLiteral("'%1' is aligned to offset %2 of '%3', leaving %4 unused after offset %5; add a "
                           "hole to make the gap explicit")
                .arg(member->getName(), hexText(offset), structure->getName(),
                    plural(static_cast<long long>(offset) - expectedOffset, "byte"),
                    hexText(expectedOffset)));
    }
    if (member->getType() == TYPE_HOLE)
        return;
    const QString name = member->getName();
    if (name.isEmpty())
        return;
    const auto first = members.lines.constFind(name);
    if (first == members.lines.cend()) {
        members.lines.insert(name, element.line());
        return;
    }
    report(codeDuplicateMember, archive, element,
        QStringLiteral("'%1' already has a member '%2' (line %3); only the first is reachable by path")
            .arg(structure->getName(), name, QString::number(*first)));
}

void DescriptionChecker::noteInstance(
    const HwXMLArchive* archive, const HwXmlElementView& element, const HwXMLElement* instance)
{
    m_instances.push_back(Instance {instance, placeOf(archive, element)});
}

void DescriptionChecker::checkInstances()
{
    struct Span {
        std::uint64_t begin;
        std::uint64_t end; // one past the last byte
        const Instance* instance;
    };
    std::vector<Span> spans;
    QHash<QString, const Instance*> names;
    for (const Instance& instance : m_instances) {
        const QString name = instance.element->getName();
        const auto first = names.constFind(name);
        if (first == names.cend()) {
            names.insert(name, &instance);
        } else {
            report(codeDuplicateMember, instance.place.file, instance.place.line, instance.place.column,
                QStringLiteral(
                    "an instance named '%1' already exists (%2:%3); only the first is reachable by "
                    "path")
                    .arg(name, (*first)->place.file, QString::number((*first)->place.line)));
        }
        const std::uint64_t size = instance.element->sizeOf();
        if (size == 0)
            continue;
        const std::uint64_t begin = instance.element->getAddress();
        spans.push_back(Span {begin, begin + size, &instance});
    }
    std::stable_sort(
        spans.begin(), spans.end(), [](const Span& a, const Span& b) { return a.begin < b.begin; });
    const Span* reach = nullptr;
    for (const Span& span : spans) {
        if (reach && span.begin < reach->end) {
            const bool later = reach->instance < span.instance;
            const Span& at = later ? span : *reach;
            const Span& other = later ? *reach : span;
            report(codeInstanceOverlap, at.instance->place.file, at.instance->place.line,
                at.instance->place.column,
                QStringLiteral("instance '%1' (%2..%3) overlaps instance '%4' (%5..%6, %7:%8)")
                    .arg(at.instance->element->getName(), hexText(at.begin), hexText(at.end - 1),
                        other.instance->element->getName(), hexText(other.begin), hexText(other.end - 1),
                        other.instance->place.file, QString::number(other.instance->place.line)));
        }
        if (!reach || span.end > reach->end)
            reach = &span;
    }
    m_instances.clear();
}

} // namespace vellxml::loader_p
