#pragma once

#include <type_traits>

/// A member that belongs to its object and not to the object's value: a copy starts with a default
/// one, an assignment leaves it as it was, and it never counts in a comparison.
template <class T>
class ZqUncopied
{
public:
   ZqUncopied() = default;
   ZqUncopied(const ZqUncopied&) noexcept(noexcept(T())) {}
   /// What moves to another place stays what it is.
   ZqUncopied(ZqUncopied&&) noexcept(std::is_nothrow_move_constructible_v<T>) = default;
   // Nothing is assigned, so that an object may be assigned to itself.
   // NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
   ZqUncopied& operator=(const ZqUncopied&) noexcept { return *this; }
   ZqUncopied& operator=(ZqUncopied&&) noexcept { return *this; }
   ~ZqUncopied() = default;

   const T& get() const noexcept { return m_value; }
   T& get() noexcept { return m_value; }

   bool operator==(const ZqUncopied&) const noexcept { return true; }

private:
   T m_value{};
};
