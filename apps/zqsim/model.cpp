#include "apps/zqsim/model.h"

#include "apps/zqsim/commands.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/outputFile.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <iostream>
#include <set>
#include <string_view>
#include <utility>

namespace
{
using zqsim::Message;

/// Cuts the first of a word and a value out of a text, from the word on.
void erase(std::string& text, std::string_view word, std::string_view value)
{
   const auto place = text.find(std::string(word).append(value));
   if (place != std::string::npos)
      text.erase(place, word.size() + value.size());
}

/// Takes the place in the document out of the text: the library has two ways to tell it.
Message parse(std::string text, const std::string& fileName)
{
   Message message;
   // Who speaks is of no interest, but containers also call an error what they go past.
   constexpr std::string_view error = " Error: ";
   constexpr std::string_view remark = "ZqXmlReader: ";
   const auto space = text.find(' ');
   if (space != std::string::npos && text.compare(space, error.size(), error) == 0)
   {
      message.weight = text.substr(0, space).ends_with("Type") ? 1 : 2;
      text.erase(0, space + error.size());
   }
   else if (text.starts_with(remark))
      text.erase(0, remark.size());
   erase(text, "File: ", fileName);
   erase(text, "Filename: ", fileName + ",");
   for (const std::string_view word : {"Line: ", "Line count: "})
   {
      const auto place = text.find(word);
      if (place == std::string::npos)
         continue;
      const char* digits = text.data() + place + word.size();
      const auto end = std::from_chars(digits, text.data() + text.size(), message.line);
      text.erase(place, static_cast<std::size_t>(end.ptr - text.data()) - place);
      break;
   }
   message.text = zqsim::oneLine(text);
   return message;
}

/// A message with its place, as compilers tell it.
std::string placed(const Message& message, const std::string& fileName)
{
   std::string result = fileName;
   if (message.line != 0)
      result += ':' + std::to_string(message.line);
   return result + ": " + message.text;
}

std::string inputName(const std::string& fileName)
{
   return zqsim::isStandardStream(fileName) ? "standard input" : fileName;
}

/// The sink of the library's log for as long as this lives.
class ScopedSink
{
public:
   explicit ScopedSink(Zq::Print::Sink sink)
      : m_before(Zq::Print::instance().setSink(std::move(sink)))
   {
   }
   ScopedSink(const ScopedSink&) = delete;
   ScopedSink& operator=(const ScopedSink&) = delete;
   ~ScopedSink() { Zq::Print::instance().setSink(std::move(m_before)); }

private:
   Zq::Print::Sink m_before;
};
} // namespace

void zqsim::ModelArguments::declare(CLI::App& arguments)
{
   arguments.add_option("MODEL", model, "The model to read")->required()->type_name("FILE");
   arguments.add_flag("--json", json, "Write JSON");
}

void zqsim::warnOfMessages()
{
   Zq::Print::instance().setSink(
      [seen = std::set<std::string, std::less<>>()](unsigned, std::string_view text) mutable
      {
         const std::string line = oneLine(text);
         if (seen.insert(line).second)
            complain("warning: " + line);
      });
}

std::vector<Message> zqsim::messagesOf(const std::string& fileName,
                                       const std::function<void()>& action)
{
   std::vector<Message> messages;
   std::set<std::string, std::less<>> seen;
   const ScopedSink sink(
      [&](unsigned, std::string_view text)
      {
         if (seen.emplace(text).second)
            messages.push_back(parse(std::string(text), fileName));
      });
   action();
   return messages;
}

std::string zqsim::reason(const std::string& fileName, const std::vector<Message>& messages)
{
   if (messages.empty())
      return fileName + ": unknown reason";
   const auto heaviest =
      std::max_element(messages.begin(), messages.end(),
                       [](const Message& a, const Message& b) { return a.weight < b.weight; });
   return placed(*heaviest, fileName);
}

std::vector<Message> zqsim::readModel(const std::string& fileName, ZqStatedSystem& scene)
{
   const std::string name = inputName(fileName);
   bool isRead = false;
   auto messages = messagesOf(name,
                              [&]
                              {
                                 if (!isStandardStream(fileName))
                                 {
                                    isRead = Zq::load(scene, fileName);
                                    return;
                                 }
                                 ZqXmlReader reader(std::cin, name);
                                 isRead = Zq::read(scene, reader);
                              });
   if (!isRead)
      throw Failure(InvalidInput, reason(name, messages));
   return messages;
}

void zqsim::readModelWithWarnings(const std::string& fileName, ZqStatedSystem& scene)
{
   for (const Message& message : readModel(fileName, scene))
      complain("warning: " + placed(message, inputName(fileName)));
}

void zqsim::writeModel(const ZqStatedSystem& scene, const std::string& fileName, bool writeDefaults)
{
   ZqString document;
   bool isWritten = false;
   const auto messages = messagesOf(fileName,
                                    [&]
                                    {
                                       isWritten = isStandardStream(fileName)
                                                      ? Zq::toXml(scene, document, writeDefaults)
                                                      : Zq::save(scene, fileName, writeDefaults);
                                    });
   if (!isWritten)
      throw Failure(Failed, reason(fileName, messages));
   if (isStandardStream(fileName))
      print(document);
}
