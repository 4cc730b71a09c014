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

/// A file that is written anew, or goes on, or standard output. What cannot be done with it is a `Failure`, which
/// names it; but when nobody reads standard output any more, what is left is dropped.
class OutputFile
{
public:
   /// What the file has may be kept, to go on behind it.
   explicit OutputFile(const std::string& name, bool isKept = false);
   OutputFile(const OutputFile&) = delete;
   OutputFile& operator=(const OutputFile&) = delete;
   ~OutputFile();

   /// Drops what a file that is kept has behind so many bytes.
   void cut(std::uintmax_t size);

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
   int m_descriptor = -1; ///< of the same file; none of what is no file on a disk
   bool m_isNameSynced = false;
   bool m_isAbandoned = false; ///< by who read standard output
};

/// Writes a file beside that then takes its name, so that a run that is killed leaves the old file whole. What is no
/// file on a disk is written where it is.
void replaceFile(const std::string& name, std::string_view text);
} // namespace zqsim
