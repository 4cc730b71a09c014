#include "python/source/arrays.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>

namespace
{
using namespace zqPython;

std::string textOf(std::span<const py::ssize_t> shape)
{
   std::string text = "(";
   for (const py::ssize_t length : shape)
      text += (text.size() > 1 ? ", " : "") +
              (length == anyLength ? std::string("n") : std::to_string(length));
   return text + (shape.size() == 1 ? ",)" : ")");
}

std::span<const ZqReal> finiteNumbers(const Array& array, const char* name,
                                      std::initializer_list<py::ssize_t> shape)
{
   require(array, name, shape);
   const std::span numbers = numbersOf(array);
   if (!std::all_of(numbers.begin(), numbers.end(),
                    [](ZqReal number) { return std::isfinite(number); }))
      throw py::value_error(std::string(name) + ": expected finite numbers");
   return numbers;
}

std::array<ZqReal, 6> sixOf(const ZqVector& first, const ZqVector& second)
{
   return {first.x(), first.y(), first.z(), second.x(), second.y(), second.z()};
}

constexpr ZqReal rotationTolerance = 1e-9;
constexpr ZqReal noBound = 1e300;
} // namespace

zqPython::Array::Numbers zqPython::Array::convertedOrNone(py::handle source)
{
   const py::array array = py::array::ensure(source);
   if (!array)
      return py::reinterpret_steal<Numbers>(py::handle());
   constexpr std::string_view kinds = "biufO";
   if (kinds.find(array.dtype().kind()) == std::string_view::npos)
      return py::reinterpret_steal<Numbers>(py::handle());
   return Numbers::ensure(array);
}

zqPython::Array::Numbers zqPython::Array::converted(py::handle source)
{
   Numbers numbers = convertedOrNone(source);
   if (!numbers)
      throw py::type_error("expected numbers");
   return numbers;
}

void zqPython::require(const Array& array, const char* name,
                       std::initializer_list<py::ssize_t> shape)
{
   const std::span<const py::ssize_t> expected(shape.begin(), shape.size());
   const std::span<const py::ssize_t> actual(array.shape(), static_cast<std::size_t>(array.ndim()));
   if (!std::equal(expected.begin(), expected.end(), actual.begin(), actual.end(),
                   [](py::ssize_t one, py::ssize_t other)
                   { return one == anyLength || one == other; }))
      throw py::value_error(std::string(name) + ": expected the shape " + textOf(expected) +
                            ", but received " + textOf(actual));
}

std::span<const ZqReal> zqPython::numbersOf(const Array& array)
{
   return {array.data(), static_cast<std::size_t>(array.size())};
}

std::span<ZqReal> zqPython::numbersOf(Array& array)
{
   return {array.mutable_data(), static_cast<std::size_t>(array.size())};
}

zqPython::Array zqPython::zeros(const Shape& shape)
{
   Array array(shape);
   std::ranges::fill(numbersOf(array), 0.0);
   return array;
}

zqPython::Array zqPython::copyOf(std::span<const ZqReal> numbers, const Shape& shape)
{
   Array array(shape);
   std::ranges::copy(numbers, numbersOf(array).begin());
   return array;
}

zqPython::Array zqPython::take(std::vector<ZqReal>&& numbers, const Shape& shape)
{
   auto owned = std::make_unique<std::vector<ZqReal>>(std::move(numbers));
   const ZqReal* data = owned->data();
   const py::capsule owner(owned.release(),
                           [](void* list) { delete static_cast<std::vector<ZqReal>*>(list); });
   return Array(shape, data, owner);
}

ZqVector zqPython::vectorOf(const Array& array, const char* name)
{
   const std::span n = finiteNumbers(array, name, {3});
   return {n[0], n[1], n[2]};
}

ZqOrientation zqPython::orientationOf(const Array& array, const char* name)
{
   const std::span n = finiteNumbers(array, name, {4});
   ZqOrientation orientation(n[0], n[1], n[2], n[3]);
   const ZqReal length = std::hypot(std::hypot(n[0], n[1]), std::hypot(n[2], n[3]));
   if (!(std::abs(length - 1.0) <= rotationTolerance))
      throw py::value_error(std::string(name) + ": expected w x y z of a length of 1, but it is " +
                            std::to_string(length));
   orientation.normalize();
   return orientation;
}

ZqCoordinateSystemTransformation zqPython::frameOf(const Array& array, const char* name)
{
   if (array.ndim() == 1)
   {
      const std::span n = finiteNumbers(array, name, {7});
      return {ZqVector(n[0], n[1], n[2]), orientationOf(copyOf(n.subspan(3), {4}), name)};
   }
   const std::span n = finiteNumbers(array, name, {4, 4});
   const auto column = [&](std::size_t j) { return ZqVector(n[j], n[4 + j], n[8 + j]); };
   const ZqVector x = column(0);
   const ZqVector y = column(1);
   const ZqVector z = column(2);
   const ZqVector lastRow(n[12], n[13], n[14]);
   if (!x.cross(y).approxEq(z, rotationTolerance) || !y.cross(z).approxEq(x, rotationTolerance) ||
       !z.cross(x).approxEq(y, rotationTolerance) ||
       !x.approxEq(x.unitVector(), rotationTolerance) || lastRow != ZqVector() || n[15] != 1.0)
      throw py::value_error(std::string(name) +
                            ": expected a rotation, a translation and a last row of 0 0 0 1");
   ZqOrientation orientation;
   orientation.setFromDcmColumns(x, y, z);
   orientation.normalize();
   return {column(3), orientation};
}

ZqGeneralForce zqPython::forceOf(const Array& array, const char* name)
{
   const std::span n = finiteNumbers(array, name, {6});
   return {ZqVector(n[0], n[1], n[2]), ZqVector(n[3], n[4], n[5])};
}

ZqGeneralMotion zqPython::motionOf(const Array& array, const char* name)
{
   const std::span n = finiteNumbers(array, name, {6});
   return {ZqVector(n[0], n[1], n[2]), ZqVector(n[3], n[4], n[5])};
}

zqPython::Array zqPython::arrayOf(const ZqVector& vector)
{
   return copyOf(std::span(&vector[0], 3), {3});
}

zqPython::Array zqPython::arrayOf(const ZqOrientation& orientation)
{
   return copyOf(std::span(&orientation[0], 4), {4});
}

zqPython::Array zqPython::arrayOf(const ZqCoordinateSystemTransformation& frame)
{
   Array array({4, 4});
   writeFrame(frame, numbersOf(array));
   return array;
}

zqPython::Array zqPython::arrayOf(const ZqGeneralForce& force)
{
   return copyOf(sixOf(force.force(), force.moment()), {6});
}

zqPython::Array zqPython::arrayOf(const ZqGeneralMotion& motion)
{
   return copyOf(sixOf(motion.linear(), motion.angular()), {6});
}

void zqPython::writeFrame(const ZqCoordinateSystemTransformation& frame, std::span<ZqReal> numbers)
{
   const ZqOrientation& orientation = frame.orientation();
   const std::array columns = {orientation.xAxis(), orientation.yAxis(), orientation.zAxis(),
                               frame.translation()};
   for (std::size_t i = 0; i < 3; ++i)
      for (std::size_t j = 0; j < 4; ++j)
         numbers[4 * i + j] = columns[j][i];
   std::ranges::copy(std::array{0.0, 0.0, 0.0, 1.0}, numbers.begin() + 12);
}

std::span<const ZqReal> zqPython::listOf(const Array& array, const char* name, std::size_t length)
{
   return finiteNumbers(array, name, {static_cast<py::ssize_t>(length)});
}

zqPython::Array zqPython::readOnly(std::span<const ZqReal> numbers, const Shape& shape)
{
   Array array = copyOf(numbers, shape);
   array.attr("setflags")(py::arg("write") = false);
   return array;
}

std::span<const ZqReal> zqPython::matrixOf(const Array& array, const char* name, py::ssize_t rows,
                                           py::ssize_t columns)
{
   return finiteNumbers(array, name, {rows, columns});
}

ZqReal zqPython::boundOf(ZqReal number, const char* name)
{
   if (std::isnan(number))
      throw py::value_error(std::string(name) + ": expected a number");
   return std::isinf(number) ? std::copysign(noBound, number) : number;
}

ZqReal zqPython::orInfinite(ZqReal bound)
{
   return std::abs(bound) >= noBound ? std::copysign(std::numeric_limits<ZqReal>::infinity(), bound)
                                     : bound;
}
