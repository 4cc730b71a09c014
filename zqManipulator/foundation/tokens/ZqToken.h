#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <atomic>
#include <compare>
#include <string>
#include <string_view>

/// A name in a document: the URI of its namespace directly followed by the local name.
///
/// A token made from a `Literal` is a constant expression: it refers to the characters of the
/// literal, needs no start-up code, may be used by the initialisers of any translation unit, and is
/// copied without an allocation. Its destructor has nothing to do, so a constant serves the destructors of
/// static objects as well. A token made from other text owns a copy of it.
class ZqToken
{
public:
   /// Names a string literal, or other characters that stay as they are until the process ends.
   struct Literal
   {
      const char* text;
   };

   constexpr ZqToken() noexcept : ZqToken(Literal{""}) {}
   constexpr explicit ZqToken(Literal literal) noexcept
      : ZqToken(literal.text, std::string_view(literal.text).size(), nullptr)
   {
   }
   ZqToken(const char* text) : ZqToken(std::string_view(text)) {}
   ZqToken(const ZqString& text) : ZqToken(std::string_view(text)) {}
   explicit ZqToken(std::string_view text);
   ZqToken(const ZqToken& other);
   ZqToken& operator=(const ZqToken& other);
   virtual ~ZqToken();

   /// The whole text.
   virtual const ZqString& token() const;
   operator const ZqString&() const { return token(); }

   /// The whole text, the URI of the namespace (empty for a plain token) and the local name.
   std::string_view view() const noexcept { return {m_data, m_size}; }
   std::string_view namespaceUri() const noexcept { return {m_data, m_nameStart}; }
   std::string_view localName() const noexcept { return view().substr(m_nameStart); }

   friend bool operator==(const ZqToken& a, const ZqToken& b) noexcept
   {
      return a.m_size == b.m_size && (a.m_data == b.m_data || a.view() == b.view());
   }
   friend bool operator==(const ZqToken& a, const ZqString& b) noexcept { return a.view() == b; }
   friend bool operator==(const ZqToken& a, const char* b) noexcept { return a.view() == b; }
   friend auto operator<=>(const ZqToken& a, const ZqToken& b) noexcept
   {
      return a.view() <=> b.view();
   }

private:
   constexpr ZqToken(const char* data, std::size_t size, const ZqString* owned) noexcept
      : m_data(data), m_size(static_cast<ZqU32>(size)), m_nameStart(nameStart({data, size})),
        m_string(owned)
   {
   }
   static constexpr ZqU32 nameStart(std::string_view text) noexcept
   {
      const auto end = text.find_last_of("#/:");
      return end == std::string_view::npos ? 0 : static_cast<ZqU32>(end) + 1;
   }
   /// An owned text is the one that m_data points into; a literal's string is shared and immortal.
   bool ownsText() const noexcept;

   const char* m_data;
   ZqU32 m_size;
   ZqU32 m_nameStart;
   mutable std::atomic<const ZqString*> m_string;
};

/// The token of a name in a namespace.
ZqToken operator+(const ZqToken& namespaceToken, const char* name);
