#include "common/TomlLimits.h"

#include <algorithm>

namespace common
{

namespace
{

// Goes through a text as far as its depth can be told without understanding it:
// what stands in quotation marks and comments does not count.
class DepthScanner
{
public:
    explicit DepthScanner(std::string_view text) : m_text(text) {}

    std::size_t lineThatIsTooDeep()
    {
        while (m_at < m_text.size()) {
            const char c = m_text[m_at];
            if (c == '"' || c == '\'') {
                skipQuoted(c);
            } else if (c == '#') {
                m_at = std::min(m_text.find('\n', m_at), m_text.size());
            } else {
                if (count(c) > kMaxTomlDepth) return m_line;
                ++m_at;
            }
        }
        return 0;
    }

private:
    // The depth that the character leads to.
    int count(char c)
    {
        if (c == '\n') ++m_line;
        if (c == '.') return ++m_names;
        if (c == '[' || c == '{') ++m_brackets;
        if ((c == ']' || c == '}') && m_brackets > 0) --m_brackets;
        if (std::string_view("\n=,[]{}").find(c) != std::string_view::npos) m_names = 1;
        return m_brackets;
    }

    void skipQuoted(char quote)
    {
        const bool escapes = quote == '"';
        const std::string_view three(quote == '"' ? R"(""")" : "'''");
        const bool manyLines = m_text.substr(m_at, 3) == three;
        m_at += manyLines ? 3 : 1;
        for (; m_at < m_text.size(); ++m_at) {
            const char c = m_text[m_at];
            // Without its end a text on one line ends with the line, as it does for the parser.
            if (c == '\n' && !manyLines) return;
            if (c == '\n') ++m_line;
            if (c == '\\' && escapes && m_text.substr(m_at + 1, 1) != "\n") ++m_at;
            if (c != quote) continue;
            if (!manyLines) break;
            if (m_text.substr(m_at, 3) != three) continue;
            m_at += 2;
            // Up to two more belong to the text in front of its end.
            for (int more = 0; more < 2 && m_text.substr(m_at + 1, 1) == three.substr(0, 1);
                 ++more) {
                ++m_at;
            }
            break;
        }
        ++m_at;
    }

    std::string_view m_text;
    std::size_t m_at = 0;
    std::size_t m_line = 1;
    int m_names = 1;  // in the key that is being read
    int m_brackets = 0;
};

}  // namespace

std::size_t lineThatIsTooDeep(std::string_view text)
{
    return DepthScanner(text).lineThatIsTooDeep();
}

}  // namespace common
