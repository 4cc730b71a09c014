#include "zqManipulator/tools/urdf/ZqUrdfText.h"

#include "zqManipulator/foundation/algebra/ZqValueText.h"
#include "zqManipulator/tools/urdf/ZqUrdfRotations.h"

#include <cmath>

namespace
{
/// A value between quotation marks; a line feed or a tab would else be read as a blank.
void appendEscaped(ZqString& text, std::string_view value)
{
   for (const char c : value)
      switch (c)
      {
      case '<':
         text += "&lt;";
         break;
      case '>':
         text += "&gt;";
         break;
      case '&':
         text += "&amp;";
         break;
      case '"':
         text += "&quot;";
         break;
      default:
         if (c == '\t' || c == '\n' || c == '\r')
            text += "&#" + std::to_string(static_cast<int>(c)) + ';';
         else
            text += c;
      }
}
} // namespace

namespace ZqUrdf
{
ZqString Text::numbers(ZqReal value)
{
   m_isFinite = m_isFinite && std::isfinite(value);
   return ZqValueText::number(value == 0.0 ? 0.0 : value); // not -0
}

ZqString Text::numbers(const ZqVector& v)
{
   return numbers(v.x()) + ' ' + numbers(v.y()) + ' ' + numbers(v.z());
}

void Text::begin(std::string_view element, const Attributes& attributes)
{
   m_text.append(2 * m_open.size(), ' ');
   m_text += '<';
   m_text += element;
   for (const auto& [name, value] : attributes)
   {
      m_text += ' ';
      m_text += name;
      m_text += "=\"";
      appendEscaped(m_text, value);
      m_text += '"';
   }
}

void Text::open(std::string_view element, const Attributes& attributes)
{
   begin(element, attributes);
   m_text += ">\n";
   m_open.emplace_back(element);
   m_lastOpen = m_text.size();
}

void Text::close()
{
   const ZqString element = m_open.back();
   m_open.pop_back();
   if (m_text.size() == m_lastOpen)
   {
      m_text.replace(m_lastOpen - 2, 2, "/>\n");
      return;
   }
   m_text.append(2 * m_open.size(), ' ');
   m_text += "</" + element + ">\n";
}

void Text::leaf(std::string_view element, const Attributes& attributes)
{
   begin(element, attributes);
   m_text += "/>\n";
}

void Text::leaf(std::string_view element, const ZqString& content)
{
   begin(element, {});
   m_text += '>';
   appendEscaped(m_text, content);
   m_text += "</" + ZqString(element) + ">\n";
}

void Text::origin(const ZqVector& xyz, const ZqVector& rpy)
{
   const ZqVector zero;
   if (xyz == zero && rpy == zero)
      return;
   if (rpy == zero)
      leaf("origin", {{"xyz", numbers(xyz)}});
   else
      leaf("origin", {{"xyz", numbers(xyz)}, {"rpy", numbers(rpy)}});
}

void Text::origin(const ZqCoordinateSystemTransformation& X)
{
   origin(X.translation(), anglesOf(X.orientation()));
}
} // namespace ZqUrdf
