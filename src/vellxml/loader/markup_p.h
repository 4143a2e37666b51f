#ifndef VELLXML_LOADER_MARKUP_P_H
#define VELLXML_LOADER_MARKUP_P_H

// What the readers of comment markup share; not installed.

#include <QString>

namespace vellxml::markup_p {

/// The length of a line-break tag at `at` ("<br>", "<br/>", "<br />", any case), or 0.
int lineBreakTagLength(const QString& text, int at);

} // namespace vellxml::markup_p

#endif
