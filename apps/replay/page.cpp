#include "apps/replay/page.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

std::string zqReplay::readPage()
{
   constexpr const char* name = "replay.html";
   std::error_code error;
   const auto directory = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
   for (const auto& place : {directory, directory / "../share/zqManipulator"})
      if (std::ifstream file(place / name, std::ios::binary); file)
      {
         std::ostringstream text;
         text << file.rdbuf();
         if (file && text)
            return std::move(text).str();
      }
   throw std::runtime_error("this zqsim was built without the replay page");
}

std::string zqReplay::makePage(const std::string& page, std::span<const std::string> scenes)
{
   constexpr std::string_view marker = "<!--scenes-->";
   const auto place = page.find(marker);
   if (place == std::string::npos)
      throw std::runtime_error("the replay page has no place for scenes");
   std::string result = page.substr(0, place);
   for (const std::string& scene : scenes)
      result += "<script type=\"application/json\" class=\"zq-scene\">" + scene + "</script>\n";
   return result.append(page, place + marker.size());
}
