#pragma once

#include "python/source/bindings.h"
#include "zqManipulator/foundation/algebra/ZqTypes.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/spatial/ZqGeneralForce.h"
#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"

#include <initializer_list>
#include <memory>
#include <span>
#include <vector>

/// Numbers between Python and the library. Arrays of double precision that lie in rows are read where they
/// are; of what is otherwise a copy is made. Whatever cannot become such an array is a `TypeError`, and one of
/// another shape a `ValueError` that tells both shapes. Neither complex numbers nor text are taken for numbers.
namespace zqPython
{
class Array : public py::array_t<ZqReal, py::array::c_style | py::array::forcecast>
{
public:
   using Numbers = py::array_t<ZqReal, py::array::c_style | py::array::forcecast>;
   using Numbers::Numbers;
   Array() = default;
   /// A `TypeError` for what is no array of numbers.
   explicit Array(const py::object& source) : Numbers(converted(source)) {}

   /// Empty, without an exception, for complex numbers, text, and whatever else makes no array of numbers.
   static Numbers convertedOrNone(py::handle source);

private:
   static Numbers converted(py::handle source);
};
using Shape = std::vector<py::ssize_t>;

/// A length that an array may have as it likes.
constexpr py::ssize_t anyLength = -1;

/// Refuses, by the name of the argument, an array of another shape.
void require(const Array& array, const char* name, std::initializer_list<py::ssize_t> shape);

/// The numbers of an array, for as long as that lives.
std::span<const ZqReal> numbersOf(const Array& array);

/// A new array of zeros.
Array zeros(const Shape& shape);
/// The numbers of a new array, to be written.
std::span<ZqReal> numbersOf(Array& array);
/// A new array with the numbers of a list, which is as long as the shape tells.
Array copyOf(std::span<const ZqReal> numbers, const Shape& shape);
/// The same without a copy: the array owns the list.
Array take(std::vector<ZqReal>&& numbers, const Shape& shape);

/// The numbers of an argument that is a list of a length; what is not finite is a `ValueError`.
std::span<const ZqReal> listOf(const Array& array, const char* name, std::size_t length);
/// The same of a matrix.
std::span<const ZqReal> matrixOf(const Array& array, const char* name, py::ssize_t rows,
                                 py::ssize_t columns);
/// A copy that cannot be written: of what a property answers, so that nobody writes into it in vain.
Array readOnly(std::span<const ZqReal> numbers, const Shape& shape);

/// \name Bounds
/// A bound that does not count is infinite in Python, and 1e300 in the library. NaN is a `ValueError`.
/// @{
ZqReal boundOf(ZqReal number, const char* name);
ZqReal orInfinite(ZqReal bound);
/// @}

/// \name Values
/// Vectors as 3 numbers; orientations as 4, w x y z, of a length of 1; spatial vectors as 6, the linear part
/// first; frames as 4 x 4 matrices, which may also come as 7 numbers, x y z and then w x y z. What is not finite
/// or no rotation to 1e-9 is a `ValueError`.
/// @{
ZqVector vectorOf(const Array& array, const char* name);
ZqOrientation orientationOf(const Array& array, const char* name);
ZqCoordinateSystemTransformation frameOf(const Array& array, const char* name);
ZqGeneralForce forceOf(const Array& array, const char* name);
ZqGeneralMotion motionOf(const Array& array, const char* name);
Array arrayOf(const ZqVector& vector);
Array arrayOf(const ZqOrientation& orientation);
Array arrayOf(const ZqCoordinateSystemTransformation& frame);
Array arrayOf(const ZqGeneralForce& force);
Array arrayOf(const ZqGeneralMotion& motion);
/// Into the 16 numbers of a matrix, row by row.
void writeFrame(const ZqCoordinateSystemTransformation& frame, std::span<ZqReal> numbers);
/// @}
} // namespace zqPython

namespace pybind11::detail
{
template <>
struct handle_type_name<zqPython::Array> : handle_type_name<zqPython::Array::Numbers>
{
};
template <>
struct pyobject_caster<zqPython::Array>
{
   bool load(handle source, bool convert)
   {
      if (!convert && !zqPython::Array::Numbers::check_(source))
         return false;
      const object numbers = zqPython::Array::convertedOrNone(source);
      if (!numbers)
         return false;
      value = reinterpret_borrow<zqPython::Array>(numbers);
      return true;
   }
   static handle cast(const handle& source, return_value_policy, handle)
   {
      return source.inc_ref();
   }
   PYBIND11_TYPE_CASTER(zqPython::Array, handle_type_name<zqPython::Array>::name);
};
} // namespace pybind11::detail
