#include "apps/zqsim/outputFile.h"

#include "apps/zqsim/commands.h"

#include <cerrno>
#include <cstring>
#include <iostream>

zqsim::OutputFile::OutputFile(const std::string& name)
   : m_name(isStandardStream(name) ? "standard output" : name),
     m_stream(isStandardStream(name) ? std::cout : m_file)
{
   errno = 0;
   if (!isStandardStream(name))
      m_file.open(name, std::ios::binary);
   require(m_stream.good());
}

void zqsim::OutputFile::require(bool isGood)
{
   if (isGood || m_isAbandoned)
      return;
   m_isAbandoned = !m_file.is_open() && errno == EPIPE;
   if (!m_isAbandoned)
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
   m_stream.flush();
   if (m_file.is_open())
      m_file.close();
   require(m_stream.good());
}
