#include "apps/zqsim/losses.h"

#include <nlohmann/json.hpp>

namespace
{
const char* nameOf(ZqConversionLoss::Kind kind)
{
   return kind == ZqConversionLoss::Kind::Lost ? "lost" : "changed";
}

std::string lineOf(const ZqConversionLoss& loss)
{
   std::string line = nameOf(loss.kind);
   if (loss.line != 0)
      line += ", line " + std::to_string(loss.line);
   return line + ": " + loss.place + ", " + loss.element + ": " + loss.text;
}
} // namespace

zqsim::Json zqsim::toJson(const ZqConversionLosses& losses)
{
   Json list = Json::array();
   for (const ZqConversionLoss& loss : losses)
   {
      Json entry{{"kind", nameOf(loss.kind)},
                 {"place", loss.place},
                 {"element", loss.element},
                 {"text", loss.text}};
      if (loss.line != 0)
         entry["line"] = loss.line;
      list.push_back(std::move(entry));
   }
   return list;
}

void zqsim::printLosses(const ZqConversionLosses& losses, bool json)
{
   if (json)
   {
      print(Json{{"losses", toJson(losses)}});
      return;
   }
   std::string text;
   for (const ZqConversionLoss& loss : losses)
      text += lineOf(loss) + '\n';
   print(text + (losses.empty() ? "nothing was lost\n"
                                : std::to_string(losses.size()) + " lost or changed\n"));
}

void zqsim::warnOfLosses(const ZqConversionLosses& losses)
{
   for (const ZqConversionLoss& loss : losses)
      complain("warning: " + lineOf(loss));
}
