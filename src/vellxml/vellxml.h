#ifndef VELLXML_VELLXML_H
#define VELLXML_VELLXML_H

// Umbrella header: every public header of the library.

#include <vellxml/vellxml_export.h>
#include <vellxml/version.h>

#endif
