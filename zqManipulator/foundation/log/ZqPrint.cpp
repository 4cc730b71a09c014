#include "zqManipulator/foundation/log/ZqPrint.h"

#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <new>
#include <ostream>
#include <streambuf>
#include <utility>

namespace Zq
{
namespace
{
void writeToStandardError(std::string_view text)
{
   std::string line(text);
   if (line.empty() || line.back() != '\n')
      line += '\n';
   std::fwrite(line.data(), 1, line.size(), stderr);
}

/// Hands on what is streamed into it, line by line.
class LineBuffer : public std::streambuf
{
public:
   explicit LineBuffer(Print::Sink deliver) : m_deliver(std::move(deliver)) {}

   void start(unsigned type, const std::string& context)
   {
      handOver();
      m_type = type;
      m_context = context;
   }

   /// Delivers an unfinished line.
   void handOver()
   {
      if (m_line.empty())
         return;
      // Taken out first, since the sink may stream something itself.
      const std::string line = std::exchange(m_line, {});
      m_deliver(m_type, m_context.empty() ? line : m_context + ": " + line);
   }

protected:
   int_type overflow(int_type c) override
   {
      if (!traits_type::eq_int_type(c, traits_type::eof()))
      {
         const char character = traits_type::to_char_type(c);
         xsputn(&character, 1);
      }
      return traits_type::not_eof(c);
   }

   std::streamsize xsputn(const char* text, std::streamsize size) override
   {
      std::string_view rest(text, static_cast<std::size_t>(size));
      for (auto end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n'))
      {
         m_line += rest.substr(0, end);
         rest.remove_prefix(end + 1);
         handOver();
      }
      m_line += rest;
      return size;
   }

   int sync() override
   {
      handOver();
      return 0;
   }

private:
   Print::Sink m_deliver;
   unsigned m_type = PrintType::Rejected;
   std::string m_context;
   std::string m_line;
};
} // namespace

/// The stream of a thread.
class PrintStream
{
public:
   explicit PrintStream(Print& print)
      : m_buffer([&print](unsigned type, std::string_view line) { print.deliver(type, line); }),
        m_stream(&m_buffer)
   {
   }

   std::ostream& start(unsigned type, const std::string& context)
   {
      m_buffer.start(type, context);
      // Each message starts with a stream in order, whatever the last caller did to it.
      m_stream.clear();
      m_stream.copyfmt(std::ios(nullptr));
      return m_stream;
   }

   void handOver() { m_buffer.handOver(); }

   /// The calling thread's stream; null before the first use.
   static PrintStream*& ofThread() noexcept
   {
      static thread_local PrintStream* stream = nullptr;
      return stream;
   }

   /// Deletes the thread's stream when the thread ends. A stream that is asked for after that, by
   /// the destructor of another object of the thread, is made anew and stays.
   struct Owner
   {
      ~Owner()
      {
         PrintStream* const stream = std::exchange(ofThread(), nullptr);
         if (stream != nullptr)
            stream->handOver();
         delete stream;
      }
   };

private:
   LineBuffer m_buffer;
   std::ostream m_stream;
};

namespace
{
/// A message that came as nothing but text.
Diagnostic diagnosticOf(unsigned type, std::string_view message)
{
   return {type <= SystemFault ? Severity::Error : Severity::Warning,
           "message",
           {},
           0,
           {},
           oneLine(message)};
}

/// Gives a diagnostic to the thread's collector. False when there is none.
template <class Make>
bool collect(const Make& make) noexcept
{
   DiagnosticCollector* const collector = DiagnosticCollector::innermost();
   if (collector == nullptr)
      return false;
   try
   {
      collector->add(make());
   }
   catch (...)
   {
      // Out of memory: the message is lost.
   }
   return true;
}
} // namespace

Print& Print::instance() noexcept
{
   alignas(Print) static std::array<std::byte, sizeof(Print)> storage;
   static Print& print = *new (storage.data()) Print;
   return print;
}

void Print::flush() noexcept
{
   try
   {
      if (PrintStream* const stream = PrintStream::ofThread())
         stream->handOver();
   }
   catch (...)
   {
      // Out of memory: the unfinished line is lost.
   }
}

void Print::report(unsigned type, const Diagnostic& diagnostic, std::string_view message) noexcept
{
   // What was streamed before comes first, so that messages stay in order.
   flush();
   if (!collect([&]() -> const Diagnostic& { return diagnostic; }))
      deliver(type, message);
}

void Print::report(const Diagnostic& diagnostic) noexcept
{
   try
   {
      const auto level = static_cast<unsigned>(diagnostic.severity);
      report(Rejected + level, diagnostic, toString(diagnostic));
   }
   catch (...)
   {
      // Out of memory: the message is lost.
   }
}

void Print::write(unsigned type, const char* format, ...) noexcept
{
   flush();
   if (format == nullptr || (type > threshold() && DiagnosticCollector::innermost() == nullptr))
      return;

   std::array<char, 512> text;
   std::va_list arguments;
   va_start(arguments, format);
   const int size = std::vsnprintf(text.data(), text.size(), format, arguments);
   va_end(arguments);
   if (size < 0)
   {
      deliver(type, format);
      return;
   }
   const auto length = static_cast<std::size_t>(size);
   if (length < text.size())
   {
      deliver(type, {text.data(), length});
      return;
   }

   try
   {
      std::string longText(length, '\0');
      va_start(arguments, format);
      std::vsnprintf(longText.data(), length + 1, format, arguments);
      va_end(arguments);
      deliver(type, longText);
   }
   catch (...)
   {
      // Out of memory: what fits is better than nothing.
      deliver(type, {text.data(), text.size() - 1});
   }
}

std::ostream& Print::ostream(unsigned type, const std::string& context)
{
   PrintStream*& stream = PrintStream::ofThread();
   if (stream == nullptr)
   {
      static thread_local PrintStream::Owner owner;
      stream = new PrintStream(*this);
   }
   return stream->start(type, context);
}

Print::Sink Print::setSink(Sink sink)
{
   flush();
   auto replacement = sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr;
   const std::scoped_lock lock(m_mutex);
   m_sink.swap(replacement);
   return replacement ? *replacement : Sink();
}

unsigned Print::setThreshold(unsigned threshold) noexcept
{
   flush();
   const std::scoped_lock lock(m_mutex);
   return std::exchange(m_threshold, threshold);
}

unsigned Print::threshold() const noexcept
{
   const std::scoped_lock lock(m_mutex);
   return m_threshold;
}

void Print::deliver(unsigned type, std::string_view text) noexcept
{
   if (collect([&] { return diagnosticOf(type, text); }))
      return;
   const std::scoped_lock lock(m_mutex);
   if (type > m_threshold)
      return;
   // Held for the call, since the sink may replace itself.
   const std::shared_ptr<const Sink> sink = m_sink;
   const bool toSink = sink != nullptr && !m_inSink;
   try
   {
      if (toSink)
      {
         m_inSink = true;
         (*sink)(type, text);
      }
      else
         writeToStandardError(text);
   }
   catch (...)
   {
      // A message that cannot be delivered is dropped.
   }
   if (toSink)
      m_inSink = false;
}
} // namespace Zq
