#ifndef VELLXML_LOADER_DESCRIPTION_CHECKS_H
#define VELLXML_LOADER_DESCRIPTION_CHECKS_H

#include <vellxml/vellxml_export.h>

#include <QStringList>

/// The description checks of a load: mistakes that the format accepts but that are almost never meant
/// (a field beyond its register, two fields on one bit, a misspelt attribute the loader ignores). Each
/// finding is a warning "file:line:column:text [code]" through the warning callback; the checks never fail
/// a load. They are off unless enabled.
struct VELLXML_EXPORT HwDescriptionChecks {
    bool enabled = false;
    /// Codes whose findings are not reported.
    QStringList silenced;

    /// Every code a finding can carry, in the order the documentation lists them.
    static QStringList codes();
};

#endif
