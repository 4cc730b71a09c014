#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

#include <string_view>
#include <utility>
#include <vector>

namespace ZqUrdf
{
/// A document in XML that is written from the beginning to the end, a line for each tag.
class Text
{
public:
   using Attributes = std::vector<std::pair<std::string_view, ZqString>>;

   void open(std::string_view element, const Attributes& attributes = {});
   void close();
   /// An element without content, or with a text.
   void leaf(std::string_view element, const Attributes& attributes);
   void leaf(std::string_view element, const ZqString& content);
   /// The element `origin`, unless it is the identity.
   void origin(const ZqCoordinateSystemTransformation& X);
   void origin(const ZqVector& xyz, const ZqVector& rpy);

   /// Numbers that read back the same, with blanks between them.
   /// @{
   ZqString numbers(ZqReal value);
   ZqString numbers(const ZqVector& v);
   /// @}
   /// Whether all of them were finite.
   bool isFinite() const { return m_isFinite; }
   const ZqString& document() const { return m_text; }

private:
   void begin(std::string_view element, const Attributes& attributes);

   ZqString m_text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
   std::vector<ZqString> m_open;
   std::size_t m_lastOpen = 0; ///< where the content of the element that was opened last begins
   bool m_isFinite = true;
};
} // namespace ZqUrdf
