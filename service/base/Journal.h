#pragma once

#include <spdlog/formatter.h>

#include <memory>
#include <string>

namespace vpnd
{

// Whether systemd's journal reads what is written there: $JOURNAL_STREAM names its device
// and inode.
[[nodiscard]] bool isJournal(int descriptor);

// "<4>text": the journal has the time, the program and the process by itself.
[[nodiscard]] std::unique_ptr<spdlog::formatter> journalFormatter();

// Whole lines that say why the program ends: with the journal's mark for an error before each
// where the journal reads them, else as they are.
[[nodiscard]] std::string errorLines(const std::string& lines, int descriptor);

}  // namespace vpnd
