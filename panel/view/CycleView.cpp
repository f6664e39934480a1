#include "panel/view/CycleView.h"

#include "panel/view/Columns.h"
#include "panel/view/JsonLines.h"
#include "panel/view/TextLines.h"
#include "panel/view/TimeStamp.h"

#include <algorithm>
#include <string_view>

namespace panel
{

namespace
{

// Calls use for each line of a text whose lines all end with a newline.
template <class Use>
void forEachLine(std::string_view text, Use use)
{
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        use(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
}

class JsonView final : public ICycleView
{
public:
    JsonView(Output& output, bool showSecrets) : m_output(output), m_showSecrets(showSecrets) {}
    void show(const CycleResult& result) override
    {
        m_output.write(cycleJson(result, m_showSecrets, explainCycle(result)));
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
        m_output.write(stamped(cycleText(result, m_showSecrets, explainCycle(result))));
    }

private:
    Output& m_output;
    bool m_showSecrets;
};

// The text with every line as fit() makes it.
template <class Fit>
std::string eachLine(std::string_view text, Fit fit)
{
    std::string lines;
    forEachLine(text, [&](std::string_view line) { lines += fit(line) + "\n"; });
    return lines;
}

class TableView final : public ICycleView
{
public:
    TableView(Output& output, bool showSecrets) : m_output(output), m_showSecrets(showSecrets) {}
    void show(const CycleResult& result) override
    {
        const std::string head = clockTime() + " " + cycleHead(result) + "\n";
        const std::string why = explanationText(explainCycle(result));
        const std::string below = channelsText(result, m_showSecrets) + driverLines();
        const Output::Window window = m_output.window();
        std::string table = head + why + below;
        if (window.columns > 0) {
            const auto cut = [&](std::string_view line) {
                return cutToColumns(line, window.columns);
            };
            // A cause that is cut tells nothing.
            const auto wrap = [&](std::string_view line) {
                return wrapToColumns(line, window.columns, kIndent);
            };
            table = eachLine(head, cut) + eachLine(why, wrap) + eachLine(below, cut);
        }
        const auto lines = std::count(table.begin(), table.end(), '\n');
        if (window.rows > 0 && lines >= static_cast<std::ptrdiff_t>(window.rows)) {
            // What has left the window at its top cannot be drawn over.
            m_output.write(head + why + below);
            m_lines = 0;
            return;
        }
        // Long lines are cut at the edge instead of wrapped, or the count would be wrong.
        std::string screen = "\x1b[?7l";
        if (m_lines > 0) screen += "\x1b[" + std::to_string(m_lines) + "A";
        screen += "\x1b[J" + table + "\x1b[?7h";
        m_output.write(screen);
        m_lines = lines;
    }

    void startAnew() override { m_lines = 0; }

private:
    // The driver's own text below the table, each line marked.
    std::string driverLines()
    {
        std::string lines;
        const std::string text = m_output.takeDriverText();
        forEachLine(
            text, [&](std::string_view line) { lines += "  driver: " + std::string(line) + "\n"; });
        return lines;
    }

    // Of the lines that go on with what did not fit.
    static constexpr std::size_t kIndent = 4;

    Output& m_output;
    bool m_showSecrets;
    std::ptrdiff_t m_lines = 0;  // of the table on the screen
};

}  // namespace

CycleStyle chooseCycleStyle(bool json)
{
    if (json) return CycleStyle::kJson;
    return Output::canDrawOver() ? CycleStyle::kTable : CycleStyle::kLines;
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
