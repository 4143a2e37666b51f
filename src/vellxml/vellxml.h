#ifndef VELLXML_VELLXML_H
#define VELLXML_VELLXML_H

// Umbrella header: every public header of the library.

#include <vellxml/access/commands.h>
#include <vellxml/diagnostic.h>
#include <vellxml/expr/evaluator.h>
#include <vellxml/expr/names.h>
#include <vellxml/expr/variables.h>
#include <vellxml/expr/variant.h>
#include <vellxml/generators/generator_text.h>
#include <vellxml/host/probe.h>
#include <vellxml/loader/archive.h>
#include <vellxml/loader/description_checks.h>
#include <vellxml/loader/document.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/loader/text_helpers.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/element.h>
#include <vellxml/model/valuable.h>
#include <vellxml/svd/svd_import.h>
#include <vellxml/svd/svd_export.h>
#include <vellxml/vellxml_export.h>
#include <vellxml/version.h>

#endif
