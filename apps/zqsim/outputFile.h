#pragma once

#include <cstdint>
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

/// A file that is written anew, or from some size on, or standard output. What cannot be done with it is a `Failure`, which
/// names it; but when nobody reads standard output any more, what is left is dropped.
class OutputFile
{
public:
   /// Of what the file has, the first bytes may stay.
   explicit OutputFile(const std::string& name, std::uintmax_t keptSize = 0);

   std::ostream& stream() { return m_stream; }
   /// Whether what was done with the stream went well.
   void require(bool isGood);
   void write(std::string_view text);
   /// Hands to the system what was written until now.
   void flush();
   /// Brings it to the disk; what is no file on a disk is only flushed.
   void sync();
   void close();

private:
   std::string m_name;   ///< for people
   std::ofstream m_file; ///< closed when it is standard output
   std::ostream& m_stream;
   bool m_isAbandoned = false; ///< by who read standard output
};

/// Writes a file beside that then takes its name, so that a run that is killed leaves the old file whole. What is no
/// file on a disk is written where it is.
void replaceFile(const std::string& name, std::string_view text);
} // namespace zqsim
