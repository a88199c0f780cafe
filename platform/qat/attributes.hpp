/// @file
/// Writing the attributes of groups and datasets.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/qalc_internal.hpp"
#include "platform/qat/kit.hpp"
#include "platform/qat/sample_format.hpp"

namespace vtu::qat {

/// Deepest nesting of cells and structures in a file.
inline constexpr int kDeepestNesting = 400;

inline constexpr const char* kKindAttribute = "qat.kind";      ///< "cell", "struct" or "char"
inline constexpr const char* kFormAttribute = "qat.form";      ///< "table", or "columns" inside a table
inline constexpr const char* kFieldsAttribute = "qat.fields";  ///< encoded field names in order
inline constexpr const char* kDimsAttribute = "qat.dims";      ///< extents that the dataspace does not hold
inline constexpr const char* kShapeAttribute = "qat.shape";    ///< "row": the cells of a column of cells are 1-by-N
inline constexpr const char* kEmptyCells = "qat.empty";        ///< dataset: indices of cells that hold nothing

/// Writes text, str in h5py.
void writeTextAttribute(Kit& kit, hid_t object, const char* name, std::string_view text);

/// Writes a list of texts.
void writeTextsAttribute(Kit& kit, hid_t object, const char* name, const std::vector<std::string>& texts);

/// Writes extents as unsigned 64-bit numbers.
void writeDimsAttribute(hid_t object, const qalc::Dimensions& dims);

/// Writes a reference to a sample table.
void writeReferenceAttribute(Kit& kit, hid_t object, const char* name, const Reference& reference);

/// Writes the one element of a numeric or logical array.
void writeScalarAttribute(Kit& kit, hid_t object, const char* name, const qxArray& scalar);

}  // namespace vtu::qat
