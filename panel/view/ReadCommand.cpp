#include "panel/view/Explain.h"

#include "common/NearestWord.h"
#include "panel/runtime/ArgumentRules.h"
#include "panel/runtime/CommandTable.h"
#include "panel/runtime/CommandText.h"
#include "panel/runtime/DisplayText.h"

namespace panel
{

namespace
{

// Reads the arguments of one command that is known and has the right number of them.
class ArgumentReader
{
public:
    ArgumentReader(const CommandInfo& command, const VariableStore& variables, const ReadAs& readAs)
        : m_command(command),
          m_variables(variables),
          m_readAs(readAs),
          m_mask(carriesSecret(command) && !readAs.showSecrets)
    {
    }

    Explanation read(const std::vector<std::string>& fields)
    {
        for (std::size_t i = 0; i < fields.size(); ++i) {
            m_argument = &m_command.arguments[i];
            m_field = &fields[i];
            m_value = m_variables.get(fields[i]);
            readArgument();
        }
        return std::move(m_explanation);
    }

private:
    // Its value now is not the one that will be sent.
    bool changes() const { return m_readAs.changing.count(*m_field) != 0; }
    bool isText() const { return m_value && typeOf(*m_value) == DATATYPE_STRING; }
    bool isNumeric() const { return m_value && !isText(); }
    std::string what() const
    {
        const bool result = m_argument->kind == ArgumentKind::kResult;
        return std::string("the ") + (result ? "result" : m_argument->name);
    }

    // The field as it may be shown.
    std::string shown() const
    {
        return m_mask && !m_value ? kMask : displayText(std::string_view(*m_field));
    }
    // "r is no variable", with the one that may have been meant.
    std::string noVariable() const
    {
        const std::string nearest = common::nearestWord(*m_field, m_variables.names());
        return (m_field->empty() ? what() + " is empty and names no variable"
                                 : shown() + " is no variable") +
               (nearest.empty() ? "" : " (" + nearest + " is one)");
    }
    void refuse(const std::string& cause) { m_explanation.causes.push_back(cause); }
    void note(const std::string& text) { m_explanation.notes.push_back(text); }

    void readArgument()
    {
        switch (m_argument->kind) {
            case ArgumentKind::kText:
            case ArgumentKind::kPlainText:
                return readText();
            case ArgumentKind::kNumber:
                return readNumber();
            case ArgumentKind::kSwitch:
                if (!isNumeric()) refuseVariable("a numeric variable, not a number itself");
                return;
            case ArgumentKind::kTextVariable:
                if (!isText()) refuseVariable("a text variable");
                return;
            case ArgumentKind::kResult:
                if (!isNumeric()) refuseVariable("a numeric variable");
                return;
        }
    }
    void refuseVariable(const std::string& whatIsRight)
    {
        const char* wrong = isText() ? " is a text variable" : " is a numeric variable";
        const bool result = m_argument->kind == ArgumentKind::kResult;
        refuse((m_value ? shown() + wrong : noVariable()) + "; " +
               (result ? "the outcome goes into " : what() + " must be ") + whatIsRight);
    }

    void readText()
    {
        if (isNumeric() && m_argument->kind == ArgumentKind::kPlainText) {
            return refuseVariable("a text variable or a text");
        }
        const char* sent = m_readAs.tense == Tense::kWas ? "was sent" : "is sent";
        if (isNumeric()) {
            note(shown() + " is a numeric variable; its name " + sent + " as the text itself");
        } else if (!m_value && !m_field->empty()) {
            note(noVariable() + "; it " + sent + " as the text itself");
        }
        if (m_value && changes()) return;
        const std::string text = isText() ? std::get<std::string>(*m_value) : *m_field;
        if (text.empty() && m_argument->mayBeEmpty) {
            if (isText()) note(shown() + " is empty: the service's own " + m_argument->name);
            return;
        }
        if (!fits(m_argument->rule, text)) refuseValue(text);
    }
    void readNumber()
    {
        if (isNumeric() && changes()) return;
        if (isNumeric()) return requireRange(truncatedNumber(*m_value));
        if (isText()) return refuseVariable("a numeric variable or a whole number");
        if (m_field->empty()) {
            if (!m_argument->mayBeEmpty) refuse(what() + " must not be empty");
            return;
        }
        const std::optional<int> number = wholeNumberOf(*m_field);
        if (number) return requireRange(*number);
        refuseVariable("a numeric variable or a whole number");
    }
    void requireRange(int number)
    {
        if (!fits(m_argument->rule, number)) refuseValue(std::to_string(number));
    }
    void refuseValue(const std::string& value)
    {
        const std::string where = m_value ? shown() + ": " : "";
        const std::string text =
            m_argument->secret ? "" : displayText(std::string_view(value)) + " ";
        refuse(where + what() + " " + text + "is not " + m_argument->values);
    }

    const CommandInfo& m_command;
    const VariableStore& m_variables;
    const ReadAs& m_readAs;
    const bool m_mask;
    const ArgumentInfo* m_argument = nullptr;
    const std::string* m_field = nullptr;
    std::optional<Value> m_value;
    Explanation m_explanation;
};

// The command that was meant; null when none comes near.
const CommandInfo* nearestCommand(const std::string& word)
{
    std::vector<std::string> words;
    for (const CommandInfo& command : kCommands) words.emplace_back(command.word);
    return findCommand(common::nearestWord(word, words));
}

std::string unknownWord(const std::string& text, bool showSecrets)
{
    // What stands behind the word may be the arguments of one without its parenthesis.
    const std::string word = text.substr(0, text.find_first_of(" \t\r\n\v\f"));
    const std::string shown = word.size() < text.size() && !showSecrets ? word + " " + kMask : text;
    const CommandInfo* nearest = nearestCommand(word);
    return displayText(std::string_view(shown)) + " is no command; " +
           (nearest == nullptr ? "orva-panel commands lists them"
                               : "the nearest is " + formOf(*nearest));
}

// What is missing of "(" and ")". Nothing of the text is quoted: all of it may be a secret.
std::string parenthesesMissing(const CommandText& text)
{
    const std::string missing = text.opens    ? "the \")\" is missing; "
                                : text.closes ? "the \"(\" is missing; "
                                              : "no parentheses; ";
    const std::string word = text.word.substr(0, text.word.find_first_of(" \t\r\n\v\f)"));
    if (const CommandInfo* known = findCommand(word)) {
        return missing + "right would be " + formOf(*known);
    }
    const CommandInfo* nearest = nearestCommand(word);
    return missing + (nearest == nullptr ? "a command has the form NAME(arguments)"
                                         : "the nearest command is " + formOf(*nearest));
}

}  // namespace

Explanation readCommand(std::string_view command, const VariableStore& variables,
                        const ReadAs& readAs)
{
    const CommandText text(command);
    if (sameWord(text.word, kWriteWord)) {
        return {{}, {std::string(kWriteWord) + " is no command for scripts: see orva-panel write"}};
    }
    if (!text.hasParentheses()) return {{parenthesesMissing(text)}, {}};
    const CommandInfo* known = findCommand(text.word);
    if (known == nullptr) return {{unknownWord(text.word, readAs.showSecrets)}, {}};
    if (known->takesAnything) return {};
    const std::size_t given =
        text.fields.size() == 1 && text.fields[0].empty() ? 0 : text.fields.size();
    if (text.fields.size() != known->count || given == 0) {
        return {{std::to_string(given) + (given == 1 ? " argument" : " arguments") +
                 " instead of " + std::to_string(known->count) + ": " + formOf(*known)},
                {}};
    }
    return ArgumentReader(*known, variables, readAs).read(text.fields);
}

}  // namespace panel
