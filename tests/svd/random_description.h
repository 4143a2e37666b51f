#ifndef VELLXML_TESTS_SVD_RANDOM_DESCRIPTION_H
#define VELLXML_TESTS_SVD_RANDOM_DESCRIPTION_H

#include <QString>

#include <cstdint>

/// Writes `chip.xml` into `dir`: a valid chip description drawn from `seed` (the same seed gives the same
/// file on every platform). It holds typedefs and modules with random members (8/16/32-bit registers,
/// register arrays, signed and unsigned integers, booleans, pointers, holes, memories, nested and arrayed
/// structures, instances of typedefs), bitfields of every access kind with reset values and options,
/// bit groups, and hostile names (C and VHDL keywords, "__", trailing "_", case-only twins, names that are
/// no identifiers). Returns the root file's path, or an empty string when it cannot be written.
QString writeRandomDescription(const QString& dir, std::uint64_t seed);

#endif
