#pragma once

#include <fstream>
#include <string>
#include <string_view>

namespace zqsim
{
/// Whether a name stands for standard input or output: "-".
inline bool isStandardStream(std::string_view name)
{
   return name == "-";
}

/// A file that is written anew, or standard output. What cannot be done with it is a `Failure`, which
/// names it; but when nobody reads standard output any more, what is left is dropped.
class OutputFile
{
public:
   explicit OutputFile(const std::string& name);

   std::ostream& stream() { return m_stream; }
   /// Whether what was done with the stream went well.
   void require(bool isGood);
   void write(std::string_view text);
   void close();

private:
   std::string m_name;
   std::ofstream m_file; ///< closed when it is standard output
   std::ostream& m_stream;
   bool m_isAbandoned = false; ///< by who read standard output
};
} // namespace zqsim
