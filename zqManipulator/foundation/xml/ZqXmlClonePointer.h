#pragma once

#include <memory>

/// A pointer to an owned persistent object, or null, that behaves as a value: a copy holds a clone, and
/// two are equal when both are null or their objects are of one class and equal.
template <class T>
class ZqXmlClonePointer
{
public:
   ZqXmlClonePointer() = default;
   /// Takes ownership.
   explicit ZqXmlClonePointer(T* object) : m_object(object) {}
   ZqXmlClonePointer(const ZqXmlClonePointer& other) : m_object(copyOf(other.get())) {}
   ZqXmlClonePointer(ZqXmlClonePointer&& other) noexcept = default;
   ZqXmlClonePointer& operator=(const ZqXmlClonePointer& other)
   {
      if (this != &other)
         m_object.reset(copyOf(other.get()));
      return *this;
   }
   ZqXmlClonePointer& operator=(ZqXmlClonePointer&& other) noexcept = default;
   ~ZqXmlClonePointer() = default;

   T* get() const { return m_object.get(); }
   T* operator->() const { return m_object.get(); }
   T& operator*() const { return *m_object; }
   explicit operator bool() const { return m_object != nullptr; }
   void reset(T* object = nullptr) { m_object.reset(object); }

   /// A clone of an object, which is of the object's own class. T may have a way of its own to make one.
   static T* copyOf(const T* object)
   {
      if (object == nullptr)
         return nullptr;
      if constexpr (requires { T::cloneOf(*object); })
         return T::cloneOf(*object);
      else
         return static_cast<T*>(object->clone());
   }
   static bool equal(const T* a, const T* b)
   {
      return a == b || (a != nullptr && b != nullptr && a->equality(b));
   }
   bool operator==(const ZqXmlClonePointer& other) const { return equal(get(), other.get()); }

private:
   std::unique_ptr<T> m_object;
};
