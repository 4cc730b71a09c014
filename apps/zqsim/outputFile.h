#pragma once

#include <fstream>
#include <string>
#include <string_view>

namespace zqsim
{
/// A file that is written anew. What cannot be done with it is a `Failure`, which names it.
class OutputFile
{
public:
   explicit OutputFile(const std::string& name);

   std::ofstream& stream() { return m_stream; }
   /// Whether what was done with the stream went well.
   void require(bool isGood) const;
   void write(std::string_view text);
   void close();

private:
   std::string m_name;
   std::ofstream m_stream;
};
} // namespace zqsim
