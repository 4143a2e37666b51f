#ifndef VELLXML_EXPR_NAMES_H
#define VELLXML_EXPR_NAMES_H

#include <vellxml/vellxml_export.h>

#include <QString>

// Turning element names into identifiers of generated files.

/// The name trimmed, every character other than a letter, digit or '_' replaced by '_', upper-cased:
/// " rx fifo[2] " gives "RX_FIFO_2_".
VELLXML_EXPORT QString NameUpper(const QString& name);

/// As NameUpper, lower-cased.
VELLXML_EXPORT QString NameLower(const QString& name);

/// A C instance name in lower camel case: words are split at '_' and at a lower-case letter followed by
/// an upper-case one, so rx_fifo, RxFifo and RX_FIFO all give rxFifo.
VELLXML_EXPORT QString ESDRConvert(const QString& name);

#endif
