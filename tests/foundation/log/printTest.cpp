#include "support/logCapture.h"
#include "zqManipulator/foundation/log/ZqPrint.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <ostream>
#include <stdexcept>
#include <thread>

namespace
{
Zq::Print& print()
{
   return Zq::Print::instance();
}

TEST(Print, MessagesOfAnyLengthArriveWhole)
{
   zqTest::LogCapture log;
   // Around the size of the buffer for short messages, and far beyond it.
   for (const std::size_t size : {0U, 1U, 509U, 510U, 511U, 512U, 513U, 100000U})
   {
      const std::string text(size, 'x');
      print().write(Zq::Rejected, "<%s>", text.c_str());
      ASSERT_EQ(log.messages().back().text, "<" + text + ">");
   }
   print().write(Zq::XmlFault, nullptr);
   EXPECT_EQ(log.size(), 8U);
}

TEST(Print, ThresholdDropsTheLessSevere)
{
   zqTest::LogCapture log;
   print().setThreshold(Zq::Rejected);
   print().write(Zq::XmlFault, "%d", 3);
   print().write(Zq::Oddity, "%d", 5);
   print().ostream(Zq::Oddity, "f()") << "five\n";
   print().write(Zq::Rejected, "%d", 4);
   EXPECT_EQ(log.text(), "3\n4\n");
   EXPECT_EQ(log.messages()[0].type, 3U);
   EXPECT_EQ(log.messages()[1].type, 4U);
}

TEST(Print, StreamDeliversLinesInOrder)
{
   zqTest::LogCapture log;
   print().ostream(Zq::XmlFault, "read()") << "one " << 1 << "\ntwo " << std::hex << 255;
   EXPECT_EQ(log.text(), "read(): one 1\n");
   print().write(Zq::Rejected, "three");
   // A state that a caller leaves behind in the stream does not reach the next message.
   std::ostream& stream = print().ostream(Zq::Oddity, "");
   stream << 255 << std::flush;
   stream.setstate(std::ios::failbit);
   print().ostream(Zq::Oddity, "") << std::setw(4) << 7;
   print().ostream(Zq::Rejected, "last") << "";
   print().write(Zq::Rejected, "end");
   EXPECT_EQ(log.text(), "read(): one 1\nread(): two ff\nthree\n255\n   7\nend\n");
   EXPECT_EQ(log.messages()[1].type, 3U);
   EXPECT_EQ(log.messages()[4].type, 5U);
}

TEST(Print, EachThreadStreamsItsOwnLines)
{
   zqTest::LogCapture log;
   print().ostream(Zq::Rejected, "main") << "half";
   std::thread([] { print().ostream(Zq::Oddity, "thread") << "whole, at its end"; }).join();
   print().ostream(Zq::Rejected, "").flush();
   EXPECT_EQ(log.text(), "thread: whole, at its end\nmain: half\n");
}

TEST(Print, CollectorTakesTheMessagesOfItsThread)
{
   zqTest::LogCapture log;
   print().setThreshold(Zq::Fatal);
   print().ostream(Zq::Fatal, "f()") << "before";
   const Zq::Diagnostic told{Zq::Severity::Note, "told", "file", 0, "path", "a text"};
   {
      const Zq::DiagnosticCollector outer;
      const Zq::DiagnosticPlace place([](Zq::Diagnostic& diagnostic) { diagnostic.line = 7; });
      print().report(Zq::Rejected, told, "in a form of its own");
      print().write(Zq::SystemFault, " plain\n\ttext\n");
      {
         const Zq::DiagnosticCollector inner;
         print().ostream(Zq::Rejected, "") << "unfinished";
         print().report(told);
         EXPECT_EQ(inner.diagnostics().size(), 2U);
         print().ostream(Zq::Rejected, "") << "which nobody asks for any more";
      }
      std::thread([] { print().write(Zq::Fatal, "elsewhere"); }).join();
      ASSERT_EQ(outer.diagnostics().size(), 2U);
      EXPECT_EQ(Zq::toString(outer.diagnostics()[0]), "file:7: path: a text");
      const Zq::Diagnostic plain{Zq::Severity::Error, "message", {}, 7, {}, "plain text"};
      EXPECT_EQ(outer.diagnostics()[1], plain);
   }
   print().setThreshold(Zq::Oddity);
   print().report(Zq::Rejected, told, "in a form of its own");
   print().report(told);
   EXPECT_EQ(log.text(), "f(): before\nelsewhere\nin a form of its own\n");
}

TEST(Print, SinkMayThrowLogAndReplaceItself)
{
   zqTest::LogCapture log;
   const Zq::Print::Sink capture = print().setSink({});
   int calls = 0;
   print().setSink(
      [&](unsigned, std::string_view)
      {
         if (++calls == 1)
            throw std::runtime_error("sink");
         print().write(Zq::Rejected, "from within the sink");
         print().setSink(capture);
      });
   testing::internal::CaptureStderr();
   for (const char* text : {"dropped", "replaces the sink", "captured"})
      print().write(Zq::Rejected, "%s", text);
   EXPECT_EQ(calls, 2);
   EXPECT_EQ(log.text(), "captured\n");
   // The default sink ends each message with one line feed.
   print().setSink({});
   print().write(Zq::Rejected, "with its own\n");
   EXPECT_EQ(testing::internal::GetCapturedStderr(), "from within the sink\nwith its own\n");
}
} // namespace
