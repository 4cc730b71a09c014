#pragma once

#include "zqManipulator/foundation/log/ZqPrint.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zqTest
{
/// Collects all messages for as long as it lives, in place of the sink and threshold of before.
class LogCapture
{
public:
   struct Message
   {
      unsigned type;
      std::string text;
   };

   LogCapture()
      : m_oldThreshold(Zq::Print::instance().setThreshold(Zq::Print::everything)),
        m_oldSink(Zq::Print::instance().setSink(
           [this](unsigned type, std::string_view text) {
              m_messages.push_back({type, std::string(text)});
           }))
   {
   }
   LogCapture(const LogCapture&) = delete;
   LogCapture& operator=(const LogCapture&) = delete;
   ~LogCapture()
   {
      Zq::Print::instance().setSink(std::move(m_oldSink));
      Zq::Print::instance().setThreshold(m_oldThreshold);
   }

   const std::vector<Message>& messages() const { return m_messages; }
   std::size_t size() const { return m_messages.size(); }
   bool empty() const { return m_messages.empty(); }
   void clear() { m_messages.clear(); }

   /// All messages, each followed by a line feed.
   std::string text() const
   {
      std::string result;
      for (const Message& message : m_messages)
         result += message.text + '\n';
      return result;
   }
   bool contains(std::string_view part) const { return text().find(part) != std::string::npos; }

private:
   std::vector<Message> m_messages;
   unsigned m_oldThreshold;
   Zq::Print::Sink m_oldSink;
};
} // namespace zqTest
