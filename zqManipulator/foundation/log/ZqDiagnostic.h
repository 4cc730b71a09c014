#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Zq
{
/// What a diagnostic says of what it tells.
enum class Severity : unsigned char
{
   Error,   ///< Something could not be done, or cannot be as it is.
   Warning, ///< Something is odd, or was repaired.
   Note     ///< Nothing is wrong.
};

/// "error", "warning" or "note".
const char* nameOf(Severity severity) noexcept;

/// Something that is told of a document, a model or a call, as a value. What does not apply is empty.
struct Diagnostic
{
   Severity severity = Severity::Warning;
   /// The kind, in words joined by hyphens: the same for whatever is told in the same case. Messages
   /// that are of no kind have "message".
   std::string code;
   std::string file;
   unsigned long line = 0; ///< from 1, or 0
   /// The elements that lead to what is told of, apart by slashes: the names that they have in
   /// documents, or a kind and a label, as in "manipulator 'puma'/link 'forearm'/massProperties". Three
   /// dots stand for elements that are left out.
   std::string path;
   std::string text; ///< one line, without a full stop

   auto operator<=>(const Diagnostic&) const = default;
};

/// "file:line: path: text", without what is empty.
std::string toString(const Diagnostic& diagnostic);

/// A text with each stretch of white space as one space, and none at the ends.
std::string oneLine(std::string_view text);

/// Collects what the calling thread logs for as long as this lives, in place of the sink and whatever the
/// threshold. Of several the innermost collects. Other threads are not concerned.
class DiagnosticCollector
{
public:
   DiagnosticCollector() noexcept;
   DiagnosticCollector(const DiagnosticCollector&) = delete;
   DiagnosticCollector& operator=(const DiagnosticCollector&) = delete;
   ~DiagnosticCollector();

   /// What has come so far, in order.
   const std::vector<Diagnostic>& diagnostics() const noexcept { return m_diagnostics; }
   void add(Diagnostic diagnostic);

   /// That of the calling thread; null when there is none.
   static DiagnosticCollector* innermost() noexcept;

private:
   DiagnosticCollector* m_outer;
   std::vector<Diagnostic> m_diagnostics;
};

/// Tells where the calling thread is at work for as long as this lives: diagnostics that come without a
/// file, a line or a path are given to it to be completed. Of several the innermost is asked.
class DiagnosticPlace
{
public:
   using Locate = std::function<void(Diagnostic&)>;

   explicit DiagnosticPlace(Locate locate);
   DiagnosticPlace(const DiagnosticPlace&) = delete;
   DiagnosticPlace& operator=(const DiagnosticPlace&) = delete;
   ~DiagnosticPlace();

   static void complete(Diagnostic& diagnostic);

private:
   Locate m_locate;
   DiagnosticPlace* m_outer;
};
} // namespace Zq
