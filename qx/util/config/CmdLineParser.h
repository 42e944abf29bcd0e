#pragma once

#include <cstdint>

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>
#include <qx/util/config/CommandLineParser.h>

using CQXCmdLineElement = qx::util::CommandLineParser::Element;

/// The command-line parser under its old name. It does the same as qx::util::CommandLineParser,
/// which documents the members, but is no component object.
class QX_API CQXCmdLineParser {
public:
    using COptionDefinition = qx::util::CommandLineParser::OptionDefinition;

    static constexpr const auto& m_switchChars = qx::util::CommandLineParser::m_switchChars;

    CQXCmdLineParser();
    CQXCmdLineParser(const CQXCmdLineParser& other);
    CQXCmdLineParser& operator=(const CQXCmdLineParser& other);
    virtual ~CQXCmdLineParser();

    void defineOption(const qx::String& name, int32_t valueCount,
                      const char16_t* defaults = nullptr);
    void setIgnoreCase(bool ignoreCase);
    /// @param commandLine  ends at its first 0 unit; null is the empty line
    void parse(const char16_t* commandLine);
    void parse(int argc, const char* const* argv);

    /// @throws qx::Exception "Invalid vector size" for 0x80000000 elements and more
    int32_t getElementCount() const;
    CQXSmartPtr<CQXCmdLineElement> getElement(int32_t index) const;
    int32_t getParameterCount() const;
    CQXSmartPtr<CQXCmdLineElement> getParameter(int32_t index) const;
    bool isPresent(const qx::String& name) const;
    CQXSmartPtr<CQXCmdLineElement> getOption(const qx::String& name) const;
    qx::String getValueString(const qx::String& name, int32_t index) const;
    int32_t getValueLong(const qx::String& name, int32_t index) const;
    double getValueDouble(const qx::String& name, int32_t index) const;

protected:
    CQXSmartPtr<COptionDefinition> getDefinition(const qx::String& name) const;
    void reset() noexcept;

private:
    qx::util::CommandLineParser m_parser;
};
