#include "qx/util/config/CmdLineParser.h"

#include <qx/core/Exception.h>

CQXCmdLineParser::CQXCmdLineParser() = default;
CQXCmdLineParser::CQXCmdLineParser(const CQXCmdLineParser& other) = default;
CQXCmdLineParser& CQXCmdLineParser::operator=(const CQXCmdLineParser& other) = default;
CQXCmdLineParser::~CQXCmdLineParser() = default;

void CQXCmdLineParser::defineOption(const qx::String& name, int32_t valueCount,
                                    const char16_t* defaults) {
    m_parser.defineOption(name, valueCount, defaults);
}

void CQXCmdLineParser::setIgnoreCase(bool ignoreCase) { m_parser.setIgnoreCase(ignoreCase); }

void CQXCmdLineParser::parse(const char16_t* commandLine) {
    m_parser.parse(qx::String(commandLine));
}

void CQXCmdLineParser::parse(int argc, const char* const* argv) { m_parser.parse(argc, argv); }

int32_t CQXCmdLineParser::getElementCount() const {
    const size_t count = m_parser.m_line.elements.size();
    if (count >= 0x80000000u)
        throw qx::Exception(qx::String(u"Invalid vector size"));
    return static_cast<int32_t>(count);
}

CQXSmartPtr<CQXCmdLineElement> CQXCmdLineParser::getElement(int32_t index) const {
    return m_parser.elementAt(index);
}

int32_t CQXCmdLineParser::getParameterCount() const { return m_parser.getParameterCount(); }

CQXSmartPtr<CQXCmdLineElement> CQXCmdLineParser::getParameter(int32_t index) const {
    return m_parser.parameterAt(index);
}

bool CQXCmdLineParser::isPresent(const qx::String& name) const { return m_parser.isPresent(name); }

CQXSmartPtr<CQXCmdLineElement> CQXCmdLineParser::getOption(const qx::String& name) const {
    return m_parser.optionNamed(name);
}

qx::String CQXCmdLineParser::getValueString(const qx::String& name, int32_t index) const {
    return m_parser.getValueString(name, index);
}

int32_t CQXCmdLineParser::getValueLong(const qx::String& name, int32_t index) const {
    return m_parser.getValueLong(name, index);
}

double CQXCmdLineParser::getValueDouble(const qx::String& name, int32_t index) const {
    return m_parser.getValueDouble(name, index);
}

CQXSmartPtr<CQXCmdLineParser::COptionDefinition>
CQXCmdLineParser::getDefinition(const qx::String& name) const {
    return m_parser.findDefinition(name);
}

void CQXCmdLineParser::reset() noexcept { m_parser.reset(); }
