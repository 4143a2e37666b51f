#ifndef VELLXML_EXPR_CLOCALE_P_H
#define VELLXML_EXPR_CLOCALE_P_H

#include <clocale>
#include <locale.h>

namespace vellxml::detail {

// Numbers in expressions and in value texts always use '.' as the decimal point, whatever locale the host
// application installed (QCoreApplication calls setlocale(LC_ALL, "") on start-up). strtod and printf read
// the thread's locale, so the conversions run under the C locale for the lifetime of this guard.
class CLocaleScope {
public:
    CLocaleScope()
        : m_previous(uselocale(cLocale()))
    {
    }
    ~CLocaleScope() { uselocale(m_previous); }
    CLocaleScope(const CLocaleScope&) = delete;
    CLocaleScope& operator=(const CLocaleScope&) = delete;

private:
    static locale_t cLocale()
    {
        // Created once and kept for the life of the process.
        static const locale_t c = newlocale(LC_ALL_MASK, "C", locale_t(nullptr));
        return c;
    }

    locale_t m_previous;
};

} // namespace vellxml::detail

#endif
