#include "python/source/arrays.h"

#include <algorithm>
#include <cmath>
#include <string>

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
   if (!std::all_of(numbers.begin(), numbers.end(), [](ZqReal number) { return std::isfinite(number); }))
      throw py::value_error(std::string(name) + ": expected finite numbers");
   return numbers;
}
} // namespace

void zqPython::require(const Array& array, const char* name, std::initializer_list<py::ssize_t> shape)
{
   const std::span<const py::ssize_t> expected(shape.begin(), shape.size());
   const std::span<const py::ssize_t> actual(array.shape(), static_cast<std::size_t>(array.ndim()));
   if (!std::equal(expected.begin(), expected.end(), actual.begin(), actual.end(),
                   [](py::ssize_t one, py::ssize_t other) { return one == anyLength || one == other; }))
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
   const py::capsule owner(owned.release(), [](void* list)
                           { delete static_cast<std::vector<ZqReal>*>(list); });
   return {shape, data, owner};
}

ZqVector zqPython::vectorOf(const Array& array, const char* name)
{
   const std::span n = finiteNumbers(array, name, {3});
   return {n[0], n[1], n[2]};
}
