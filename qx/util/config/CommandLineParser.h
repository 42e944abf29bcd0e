#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <qx/collections/IndexedRange.h>
#include <qx/core/AnyText.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/core/TextView.h>
#include <qx/platform/export.h>

class CQXCmdLineParser;

namespace qx::util {

/// Splits a command line into parameters and options with their values.
///
/// Runs of spaces, and nothing else, separate the tokens of a line. A token that begins with a
/// double quote extends to the next one, or to the end of the line, and loses both; there is no
/// escape. A token that begins with one of m_switchChars is an option: "-x", "--x", "/x" and "-/x"
/// all name "x". Any other token is a parameter.
///
/// The text behind the first "=" of an option is split at commas into its values, no matter how
/// many values the definition asks for; a piece that begins with a double quote extends to the next
/// one, and empty pieces are dropped. An option without "=" takes as many of the following tokens
/// as its definition asks for, but stops at the next option; when the token and one space are
/// followed by a switch character, it takes a copy of the defaults instead. An option that was not
/// defined takes no tokens.
///
/// Definitions are made first and survive every parse. A parse takes time in proportion to the
/// length of the line, whatever is in it, and to the number of definitions; looking up an option
/// goes through the elements from the last one on. One parser is used by one thread at a time; the
/// elements it hands out never change and outlive it.
class QX_API CommandLineParser : public Object {
public:
    class Element;
    class OptionDefinition;

    /// The units that begin an option.
    QX_LOCAL static constexpr char16_t m_switchChars[] = u"-/";

    CommandLineParser();
    /// Shares the elements and definitions, which never change.
    CommandLineParser(const CommandLineParser& other);
    CommandLineParser& operator=(const CommandLineParser& other);
    ~CommandLineParser() override;

    /// Defines an option and replaces an earlier definition of the same name. (When case is
    /// ignored, the latest of the definitions whose names differ only in case counts.)
    /// @param name  without switch characters
    /// @param valueCount  the number of tokens that the option takes; none when it is below 1
    /// @param defaults  the values that getOption reports when the option is absent, split at
    ///     commas and spaces and quoted like "=" values; null for none, which differs from an empty
    ///     text
    /// @param description  the text for usage
    void defineOption(const String& name, int32_t valueCount, const char16_t* defaults = nullptr,
                      const char16_t* description = nullptr);
    /// The same for texts in other forms, UTF-8 among them, as all members below that are
    /// templates.
    void defineOption(const OtherText auto& name, int32_t valueCount,
                      const char16_t* defaults = nullptr, const char16_t* description = nullptr) {
        defineOption(stringOf(name), valueCount, defaults, description);
    }

    /// Chooses whether the case of letters in names is ignored from now on; at first it is not. The
    /// choice also applies to what was parsed before, but not to the definitions that were used
    /// then.
    void setIgnoreCase(bool ignoreCase);

    /// Replaces what was parsed before.
    /// @throws std::bad_alloc; what was parsed before is then still there
    void parse(const String& commandLine);
    void parse(const OtherText auto& commandLine) { parse(stringOf(commandLine)); }
    /// Parses one line made of the arguments, from argv[0] on. Each is decoded in the default
    /// encoding and followed by a space; one that contains a space is put in double quotes. An
    /// empty argument therefore has no effect, and quotes inside an argument count as quotes.
    /// @throws what fromSystemName throws for an argument that is no text in the default encoding;
    ///     what was parsed before is then still there
    void parse(int argc, const char* const* argv);
    /// Parses the arguments of a program by the conventions of this system: each argument behind
    /// the program's name, which is passed over, is one token whatever it contains, even an empty
    /// one. "-" is a parameter, and so are arguments that begin with "/", because paths do. "--"
    /// ends the options: it is dropped, and all arguments behind it are parameters. What stands
    /// behind the "=" of an option that is defined with one value is that value, with commas and
    /// quotes; for others it is split as in a command line. An option has no value that does not
    /// stand there, whatever it has when it is absent.
    /// @throws what fromSystemName throws for an argument that is no text in the default encoding;
    ///     what was parsed before is then still there
    void parseArguments(int argc, const char* const* argv);

    /// The number of options and parameters.
    int32_t getElementCount() const;
    /// The element at a place of the command line, counted from 0.
    /// @throws Exception "Invalid vector index"
    Reference<const Element> getElement(int32_t index) const;
    int32_t getParameterCount() const;
    /// @throws Exception "Invalid vector index"
    Reference<const Element> getParameter(int32_t index) const;
    /// Options and parameters, or parameters alone, as a random-access range of
    /// Reference<const Element>, which refers to the parser.
    auto elements() const noexcept {
        return collections::IndexedRange<CommandLineParser, &CommandLineParser::getElement,
                                         &CommandLineParser::getElementCount>(*this);
    }
    auto parameters() const noexcept {
        return collections::IndexedRange<CommandLineParser, &CommandLineParser::getParameter,
                                         &CommandLineParser::getParameterCount>(*this);
    }

    /// True for an option that occurred in the line, whether it was defined or not.
    bool isPresent(const String& name) const;
    /// The last occurrence of the option. When it does not occur: its definition if that has
    /// defaults, otherwise null.
    Reference<const Element> getOption(const String& name) const;
    /// The value of getOption, read by the member of Element with the same name.
    /// @throws Exception "Option not present: " and the name when getOption returns null
    String getValueString(const String& name, int32_t index) const;
    int32_t getValueLong(const String& name, int32_t index) const;
    double getValueDouble(const String& name, int32_t index) const;
    bool isPresent(const OtherText auto& name) const { return isPresent(stringOf(name)); }
    Reference<const Element> getOption(const OtherText auto& name) const {
        return getOption(stringOf(name));
    }
    String getValueString(const OtherText auto& name, int32_t index) const {
        return getValueString(stringOf(name), index);
    }
    int32_t getValueLong(const OtherText auto& name, int32_t index) const {
        return getValueLong(stringOf(name), index);
    }
    double getValueDouble(const OtherText auto& name, int32_t index) const {
        return getValueDouble(stringOf(name), index);
    }

    /// Describes the first mistake of the line as a sentence without a period: an option that was
    /// not defined, that has fewer values than its definition asks for, or that has values although
    /// its definition asks for none. Empty when there is none.
    String findMistake() const;

    /// A line for every definition, in the order of names: the option, a word for each value, the
    /// description and the defaults. Empty without definitions.
    String usage() const;

protected:
    /// Null when there is none.
    Reference<const OptionDefinition> getDefinition(const String& name) const;
    /// Forgets what was parsed, but no definition.
    void reset() noexcept;

private:
    friend class ::CQXCmdLineParser;
    /// What a parse found.
    struct Line {
        std::vector<Reference<Element>> elements;
        std::vector<int32_t> parameters; ///< their positions

        Element& add(std::u16string_view name);
        void addParameter(std::u16string_view text);
        bool isOption(const Element& element) const;
    };

    template <class Tokens>
    void parseTokens(Tokens tokens);
    const Reference<Element>& elementAt(int32_t index) const;
    const Reference<Element>& parameterAt(int32_t index) const;
    const Reference<Element>* findOption(const String& name) const;
    Reference<Element> optionNamed(const String& name) const;
    Reference<Element> requireOption(const String& name) const;
    OptionDefinition* findDefinition(const String& name) const;

    Line m_line;
    std::vector<Reference<OptionDefinition>> m_definitions; ///< the latest last
    bool m_ignoreCase = false;
};

/// An option or a parameter of a command line. It does not change once it is handed out.
class QX_API CommandLineParser::Element : public Object {
public:
    /// The name of an option without switch characters; empty for a parameter.
    String getName() const { return String(name()); }
    /// The place in the command line among options and parameters, from 0; -1 for a definition.
    int32_t getPosition() const noexcept { return m_position; }
    int32_t getValueCount() const noexcept { return m_valueCount; }
    /// @throws Exception "Invalid vector index"
    String getValueString(int32_t index) const;
    /// The values as a random-access range of String, which refers to the element.
    auto values() const noexcept {
        return collections::IndexedRange<Element, &Element::getValueString,
                                         &Element::getValueCount>(*this);
    }
    /// The number at the start of the value; "0x" makes it hexadecimal, "0" octal. What follows the
    /// number is ignored. A number out of range gives the nearest limit of 32 bits.
    /// @throws Exception "Invalid vector index", or "Unable to convert string to long" when the
    ///     value begins with no number
    int32_t getValueLong(int32_t index) const;
    /// The same for numbers with a fraction and an exponent, independently of the locale.
    /// @throws Exception "Invalid vector index", or "Unable to convert string to double"
    double getValueDouble(int32_t index) const;

protected:
    Element(TextView name, int32_t position);

    void addValue(TextView value);
    /// Adds the values of @p other to those that are there.
    void copyValues(const Element& other);

private:
    friend class CommandLineParser;
    std::u16string_view name() const noexcept {
        return std::u16string_view(m_text).substr(0, m_nameLength);
    }
    /// @throws Exception "Invalid vector index"
    std::u16string_view valueAt(int32_t index) const;

    /// The name and the values one behind the other: an element with a short value, as most are,
    /// takes no memory besides its own.
    std::u16string m_text;
    /// Where the values end in the text, the last one excepted, which ends with it.
    std::vector<size_t> m_ends;
    size_t m_nameLength;
    int32_t m_valueCount = 0;
    int32_t m_position;
};

/// The definition of an option; its values are the defaults.
class QX_API CommandLineParser::OptionDefinition : public CommandLineParser::Element {
public:
    /// The number of tokens that the option takes as values when it is written without "=".
    int32_t getDefinedValueCount() const noexcept { return m_definedValueCount; }
    /// True when defaults were given, even as an empty text.
    bool hasDefaults() const noexcept { return m_hasDefaults; }
    const String& getDescription() const noexcept { return m_description; }

private:
    friend class CommandLineParser;
    OptionDefinition(const String& name, int32_t valueCount, const char16_t* defaults,
                     const char16_t* description);

    int32_t m_definedValueCount;
    bool m_hasDefaults;
    String m_description;
};

} // namespace qx::util
