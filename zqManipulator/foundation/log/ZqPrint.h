#pragma once

#include "zqManipulator/foundation/log/ZqDiagnostic.h"

#include <functional>
#include <iosfwd>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#if defined(__GNUC__) || defined(__clang__)
#define ZQ_PRINTF_FORMAT(text, arguments) __attribute__((format(printf, text, arguments)))
#else
#define ZQ_PRINTF_FORMAT(text, arguments)
#endif

namespace Zq
{
/// Levels of messages: the lower the number, the more severe. Other numbers may be used as well.
enum PrintType : unsigned
{
   Fatal = 0,         ///< The process is about to end.
   InternalFault = 1, ///< The library found itself in a state that it should never be in.
   SystemFault = 2,   ///< A file, stream or other means of the operating system failed.
   XmlFault = 3,      ///< A fault in the structure of XML input.
   Rejected = 4,      ///< A rejected call, a failed lookup.
   Oddity = 5         ///< Something odd that processing goes past.
};

/// The one log of the process.
///
/// A message whose level is not above the threshold goes to the sink, which by default writes it
/// and a line feed to standard error, in one piece. Nothing here throws or ends the process, and
/// messages of any length arrive whole. All operations may be called from every thread and at any
/// time, static initialisation and destruction included: the object is never destroyed.
///
/// Messages are values as well: while a `DiagnosticCollector` lives, it collects those of its thread, and
/// the sink receives nothing of them.
class Print
{
public:
   /// Receives the level and the text of a message. Calls never overlap. What a sink throws is
   /// dropped, and what it logs itself goes to standard error.
   using Sink = std::function<void(unsigned type, std::string_view text)>;

   /// The threshold that lets every message through; the default.
   static constexpr unsigned everything = 0xFFFFFFFF;

   static Print& instance() noexcept;

   Print(const Print&) = delete;
   Print& operator=(const Print&) = delete;

   /// Logs one message in printf form.
   void write(unsigned type, const char* format, ...) noexcept ZQ_PRINTF_FORMAT(3, 4);

   /// Logs a message that says what the diagnostic says.
   void report(unsigned type, const Diagnostic& diagnostic, std::string_view message) noexcept;
   /// Logs a diagnostic as `toString` has it: an error at the level `Rejected`, a warning at `Oddity`, a
   /// note one level above.
   void report(const Diagnostic& diagnostic) noexcept;

   /// A stream of the calling thread for messages of a level, each preceded by `context` (the name
   /// of the calling function, or nothing) and ": ". Each complete line is one message. A last line
   /// without its line feed is delivered by `std::flush`, by the thread's next `write` or `ostream`,
   /// or when the thread ends. The reference holds for the thread's life.
   std::ostream& ostream(unsigned type, const std::string& context);

   /// Delivers the unfinished line of the calling thread's stream.
   void flush() noexcept;

   /// Replaces the sink and returns the old one; an empty one stands for the default.
   Sink setSink(Sink sink);
   /// Messages with a level above the threshold are dropped. Returns the old threshold.
   unsigned setThreshold(unsigned threshold) noexcept;
   unsigned threshold() const noexcept;

private:
   friend class PrintStream;

   Print() = default;
   ~Print() = default;
   void deliver(unsigned type, std::string_view text) noexcept;

   mutable std::recursive_mutex m_mutex;
   std::shared_ptr<const Sink> m_sink;
   unsigned m_threshold = everything;
   bool m_inSink = false;
};
} // namespace Zq
