#include "apps/zqsim/outputFile.h"

#include "apps/zqsim/commands.h"

#include <cerrno>
#include <cstring>

zqsim::OutputFile::OutputFile(const std::string& name) : m_name(name)
{
   errno = 0;
   m_stream.open(name, std::ios::binary);
   require(m_stream.good());
}

void zqsim::OutputFile::require(bool isGood) const
{
   if (!isGood)
      throw Failure(Failed,
                    m_name + ": " + (errno != 0 ? std::strerror(errno) : "it cannot be written"));
}

void zqsim::OutputFile::write(std::string_view text)
{
   errno = 0;
   require(m_stream.write(text.data(), static_cast<std::streamsize>(text.size())).good());
}

void zqsim::OutputFile::close()
{
   errno = 0;
   m_stream.close();
   require(m_stream.good());
}
