#include "zqManipulator/foundation/tokens/ZqToken.h"

#include <mutex>
#include <unordered_map>
#include <utility>

namespace
{
/// The string of a literal, made once and never destroyed, so that tokens serve until exit.
const ZqString* internedString(const char* data, std::size_t size)
{
   static std::mutex& mutex = *new std::mutex;
   static auto& strings = *new std::unordered_map<const char*, const ZqString*>;
   const std::scoped_lock lock(mutex);
   const ZqString*& string = strings[data];
   if (string == nullptr)
      string = new ZqString(data, size);
   return string;
}
} // namespace

// The string is made first, since the delegated constructor needs its characters.
ZqToken::ZqToken(std::string_view text) : ZqToken()
{
   auto* owned = new ZqString(text);
   m_data = owned->data();
   m_size = static_cast<ZqU32>(owned->size());
   m_nameStart = nameStart(*owned);
   m_string.store(owned, std::memory_order_relaxed);
}

ZqToken::ZqToken(const ZqToken& other)
   : m_data(other.m_data), m_size(other.m_size), m_nameStart(other.m_nameStart),
     m_string(other.m_string.load(std::memory_order_acquire))
{
   if (other.ownsText())
   {
      auto* owned = new ZqString(other.view());
      m_data = owned->data();
      m_string.store(owned, std::memory_order_relaxed);
   }
}

ZqToken& ZqToken::operator=(const ZqToken& other)
{
   if (this != &other)
   {
      ZqToken copy(other);
      std::swap(m_data, copy.m_data);
      std::swap(m_size, copy.m_size);
      std::swap(m_nameStart, copy.m_nameStart);
      const ZqString* mine = m_string.load(std::memory_order_relaxed);
      m_string.store(copy.m_string.load(std::memory_order_relaxed), std::memory_order_relaxed);
      copy.m_string.store(mine, std::memory_order_relaxed);
   }
   return *this;
}

// A constant is left as it is, and serves whoever is destroyed after it. A sanitizer would mark it.
[[gnu::no_sanitize("vptr")]] ZqToken::~ZqToken()
{
   if (ownsText())
      delete m_string.load(std::memory_order_relaxed);
}

bool ZqToken::ownsText() const noexcept
{
   const ZqString* string = m_string.load(std::memory_order_acquire);
   return string != nullptr && string->data() == m_data;
}

const ZqString& ZqToken::token() const
{
   const ZqString* string = m_string.load(std::memory_order_acquire);
   if (string == nullptr)
   {
      string = internedString(m_data, m_size);
      m_string.store(string, std::memory_order_release);
   }
   return *string;
}

ZqToken operator+(const ZqToken& namespaceToken, const char* name)
{
   ZqString text(namespaceToken.view());
   text += name;
   return ZqToken(text);
}
