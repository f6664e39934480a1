#pragma once

#include "panel/runtime/DeviceSession.h"
#include "panel/view/Output.h"

#include <memory>

namespace panel
{

// Shows one polling cycle after the other.
class ICycleView
{
public:
    virtual ~ICycleView() = default;
    virtual void show(const CycleResult& result) = 0;
    // Something else has been written meanwhile: what is on the screen stays there.
    virtual void startAnew() {}
};

// How cycles are shown: one JSON object a line, a table that is redrawn in
// place, or plain lines.
enum class CycleStyle { kJson, kTable, kLines };
CycleStyle chooseCycleStyle(bool json);

// What becomes of a driver's own text in that style.
Output::DriverText driverTextFor(CycleStyle style);

// Borrows the output, which must outlive the view.
std::unique_ptr<ICycleView> makeCycleView(CycleStyle style, Output& output, bool showSecrets);

}  // namespace panel
