#include "panel/view/CycleView.h"

#include "panel/runtime/DisplayText.h"
#include "panel/view/JsonLines.h"
#include "panel/view/TextLines.h"

#include <algorithm>
#include <string_view>

namespace panel
{

namespace
{

class JsonView final : public ICycleView
{
public:
    JsonView(Output& output, bool showSecrets) : m_output(output), m_showSecrets(showSecrets) {}
    void show(const CycleResult& result) override
    {
        m_output.write(cycleJson(result, m_showSecrets));
    }

private:
    Output& m_output;
    bool m_showSecrets;
};

class LineView final : public ICycleView
{
public:
    LineView(Output& output, bool showSecrets) : m_output(output), m_showSecrets(showSecrets) {}
    void show(const CycleResult& result) override
    {
        m_output.write(cycleText(result, m_showSecrets));
    }

private:
    Output& m_output;
    bool m_showSecrets;
};

// The text with no line longer than so many characters, however many bytes these have.
std::string cutLines(std::string_view text, unsigned columns)
{
    std::string cut;
    unsigned column = 0;
    for (const char c : text) {
        if (c == '\n') {
            column = 0;
        } else if ((static_cast<unsigned char>(c) & 0xC0U) != 0x80U && column <= columns) {
            ++column;
        }
        if (column <= columns) cut += c;
    }
    return cut;
}

class TableView final : public ICycleView
{
public:
    TableView(Output& output, bool showSecrets) : m_output(output), m_showSecrets(showSecrets) {}
    void show(const CycleResult& result) override
    {
        std::string table = cycleText(result, m_showSecrets) + driverLines();
        const auto lines = std::count(table.begin(), table.end(), '\n');
        const Output::Window window = m_output.window();
        if (window.rows > 0 && lines >= static_cast<std::ptrdiff_t>(window.rows)) {
            // What has left the window at its top can not be drawn over.
            m_output.write(table);
            m_lines = 0;
            return;
        }
        if (window.columns > 0) table = cutLines(table, window.columns);
        // Long lines are cut at the edge instead of wrapped, or the count would be wrong.
        std::string screen = "\x1b[?7l";
        if (m_lines > 0) screen += "\x1b[" + std::to_string(m_lines) + "A";
        screen += "\x1b[J" + table + "\x1b[?7h";
        m_output.write(screen);
        m_lines = lines;
    }

private:
    // The driver's own text below the table, each line marked.
    std::string driverLines()
    {
        std::string lines;
        const std::string text = m_output.takeDriverText();
        for (std::size_t begin = 0; begin < text.size();) {
            const std::size_t end = std::min(text.find('\n', begin), text.size());
            lines += "  driver: " + displayText(std::string_view(text).substr(begin, end - begin)) +
                     "\n";
            begin = end + 1;
        }
        return lines;
    }

    Output& m_output;
    bool m_showSecrets;
    std::ptrdiff_t m_lines = 0;  // of the table on the screen
};

}  // namespace

CycleStyle chooseCycleStyle(bool json)
{
    if (json) return CycleStyle::kJson;
    return Output::isTerminal() ? CycleStyle::kTable : CycleStyle::kLines;
}

Output::DriverText driverTextFor(CycleStyle style)
{
    switch (style) {
        case CycleStyle::kJson:
            return Output::DriverText::kToStderr;
        case CycleStyle::kTable:
            return Output::DriverText::kCollected;
        case CycleStyle::kLines:
            break;
    }
    return Output::DriverText::kMixedIn;
}

std::unique_ptr<ICycleView> makeCycleView(CycleStyle style, Output& output, bool showSecrets)
{
    switch (style) {
        case CycleStyle::kJson:
            return std::make_unique<JsonView>(output, showSecrets);
        case CycleStyle::kTable:
            return std::make_unique<TableView>(output, showSecrets);
        case CycleStyle::kLines:
            break;
    }
    return std::make_unique<LineView>(output, showSecrets);
}

}  // namespace panel
