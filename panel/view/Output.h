#pragma once

#include "common/Descriptor.h"

#include <string>
#include <string_view>

namespace panel
{

// Where results go: the standard output that the program was started with. A
// driver may print there too; what becomes of that is chosen here. On a terminal
// it is shown without control characters: some of it may come from a service.
class Output
{
public:
    enum class DriverText {
        kMixedIn,    // stays on standard output
        kToStderr,   // goes to standard error, so that only results are on standard output
        kCollected,  // is kept for takeDriverText()
    };

    // Raises PanelError when the system has no descriptor left.
    explicit Output(DriverText driverText);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    // Writes the whole text at once, behind what drivers have printed. Waits for a
    // reader that is slow, as long as it takes.
    void write(std::string_view text);
    // Shows what drivers have printed where that has not happened yet.
    void showDriverText();
    // What drivers have printed since the last call, cleaned, each line with a
    // newline; empty unless it is collected.
    std::string takeDriverText();

    // Whether the standard output is a terminal that text can be drawn over on.
    static bool canDrawOver();

    // Of the terminal's window; 0 where there is none or it does not tell.
    struct Window {
        unsigned rows = 0;
        unsigned columns = 0;
    };
    Window window() const;

private:
    common::Descriptor m_out;        // the original standard output
    common::Descriptor m_collected;  // a file in memory
    int m_showAt = -1;               // where collected text is shown; -1: by the caller
};

}  // namespace panel
