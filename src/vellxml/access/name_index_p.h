#ifndef VELLXML_ACCESS_NAME_INDEX_P_H
#define VELLXML_ACCESS_NAME_INDEX_P_H

#include <vellxml/model/element.h>

#include <QHash>
#include <QString>
#include <QVarLengthArray>

#include <algorithm>
#include <cstddef>
#include <vector>

/// The elements of one list (a structure's members, an array's items, the root's instances) by name, so
/// that a path token is resolved without walking the list.
///
/// The index only narrows the search: it gives, in list order, the positions of the elements that can
/// resolve a token, and the caller asks each of them as a walk of the whole list would. An element answers
/// a token only with its own name or, for an array, with the bracketed name of one of its items, which
/// starts with the array's name and "[" (HwArray::setName). So the candidates of a token are the elements
/// of that name and those named like a part of the token ending before a "[". First-match-in-order and
/// duplicate names thus behave exactly as in a walk.
///
/// Lists only grow (members are appended, items are made once), so an index whose count differs from the
/// list's is rebuilt. An array renamed after its index was built is noticed through the name recorded.
class HwNameIndex {
public:
    using Candidates = QVarLengthArray<int, 8>;

    template<typename List>
    HwNameIndex(const List& list, const QString& ownerName)
        : m_count(list.size())
        , m_ownerName(ownerName)
        , m_next(list.size(), -1)
    {
        m_first.reserve(static_cast<int>(list.size()));
        // Walk backwards so that each name's chain starts at its first position.
        for (std::size_t i = list.size(); i-- > 0;) {
            const QString name = elementOf(list[i])->getName();
            auto it = m_first.find(name);
            if (it != m_first.end()) {
                m_next[i] = it.value();
                it.value() = static_cast<int>(i);
            } else {
                m_first.insert(name, static_cast<int>(i));
            }
        }
    }

    /// True when the index still describes a list of `count` elements owned by `ownerName`.
    bool isValidFor(std::size_t count, const QString& ownerName) const
    {
        return count == m_count && ownerName == m_ownerName;
    }

    /// The positions, ascending, of the elements that may resolve a path whose first token is `token`.
    void candidates(const QString& token, Candidates& out) const
    {
        out.clear();
        appendChain(token, out);
        bool merged = false;
        for (int bracket = token.indexOf(QLatin1Char('[')); bracket > 0;
             bracket = token.indexOf(QLatin1Char('['), bracket + 1)) {
            const int before = out.size();
            appendChain(token.left(bracket), out);
            merged = merged || out.size() != before;
        }
        if (merged)
            std::sort(out.begin(), out.end());
    }

private:
    template<typename P>
    static const HwXMLElement* elementOf(const P& pointer)
    {
        return &*pointer;
    }

    void appendChain(const QString& name, Candidates& out) const
    {
        const auto it = m_first.constFind(name);
        if (it == m_first.constEnd())
            return;
        for (int i = it.value(); i != -1; i = m_next[static_cast<std::size_t>(i)])
            out.append(i);
    }

    std::size_t m_count;
    QString m_ownerName;
    // First position of each name, and for each position the next one of the same name (-1 at the end).
    QHash<QString, int> m_first;
    std::vector<int> m_next;
};

namespace vellxml::access_p {

/// The index of `list`, (re)built when missing or stale.
template<typename List>
const HwNameIndex& nameIndexFor(HwNameIndexPtr& slot, const List& list, const QString& ownerName)
{
    if (!slot || !slot->isValidFor(list.size(), ownerName))
        slot.reset(new HwNameIndex(list, ownerName));
    return *slot;
}

} // namespace vellxml::access_p

#endif
