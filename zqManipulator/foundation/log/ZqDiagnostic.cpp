#include "zqManipulator/foundation/log/ZqDiagnostic.h"

#include "zqManipulator/foundation/log/ZqPrint.h"

#include <array>
#include <utility>

namespace Zq
{
namespace
{
thread_local DiagnosticCollector* innermostCollector = nullptr;
thread_local DiagnosticPlace* innermostPlace = nullptr;
} // namespace

const char* nameOf(Severity severity) noexcept
{
   static constexpr std::array names{"error", "warning", "note"};
   return names[static_cast<std::size_t>(severity)];
}

std::string toString(const Diagnostic& diagnostic)
{
   std::string result = diagnostic.file;
   if (diagnostic.line != 0)
   {
      result += result.empty() ? "line " : ":";
      result += std::to_string(diagnostic.line);
   }
   for (const std::string& part : {diagnostic.path, diagnostic.text})
      if (!part.empty())
         result += (result.empty() ? "" : ": ") + part;
   return result;
}

std::string oneLine(std::string_view text)
{
   constexpr std::string_view space = " \t\n\r\f\v";
   std::string result;
   for (const char c : text)
   {
      const bool isSpace = space.find(c) != std::string_view::npos;
      if (!isSpace)
         result += c;
      else if (!result.empty() && result.back() != ' ')
         result += ' ';
   }
   result.erase(result.find_last_not_of(' ') + 1);
   return result;
}

DiagnosticCollector::DiagnosticCollector() noexcept : m_outer(innermostCollector)
{
   Print::instance().flush();
   innermostCollector = this;
}

DiagnosticCollector::~DiagnosticCollector()
{
   Print::instance().flush();
   innermostCollector = m_outer;
}

void DiagnosticCollector::add(Diagnostic diagnostic)
{
   DiagnosticPlace::complete(diagnostic);
   m_diagnostics.push_back(std::move(diagnostic));
}

DiagnosticCollector* DiagnosticCollector::innermost() noexcept
{
   return innermostCollector;
}

DiagnosticPlace::DiagnosticPlace(Locate locate)
   : m_locate(std::move(locate)), m_outer(std::exchange(innermostPlace, this))
{
}

DiagnosticPlace::~DiagnosticPlace()
{
   innermostPlace = m_outer;
}

void DiagnosticPlace::complete(Diagnostic& diagnostic)
{
   if (innermostPlace != nullptr)
      innermostPlace->m_locate(diagnostic);
}
} // namespace Zq
