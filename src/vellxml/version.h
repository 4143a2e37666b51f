#ifndef VELLXML_VERSION_H
#define VELLXML_VERSION_H

#include <vellxml/vellxml_export.h>

namespace vellxml {

/// The library's version as "major.minor.patch", as it was built.
VELLXML_EXPORT const char* versionString();

} // namespace vellxml

#endif
