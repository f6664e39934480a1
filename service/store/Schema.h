#pragma once

#include "service/store/Database.h"

#include <vector>

namespace vpnd
{

// How the tables come about: each step brings a file from one schema number to the next, the
// first from none to 1. A step is never changed once it has been released: files were made
// with it.
using SchemaSteps = std::vector<const char*>;

[[nodiscard]] const SchemaSteps& schemaSteps();

// The schema number in a file; 0 when there is nothing in it. Raises DatabaseError, kDamaged,
// for what is no file of ours.
[[nodiscard]] int schemaOf(Database& database);

// Takes the steps that are missing, each whole or not at all.
void bringUpToDate(Database& database, const SchemaSteps& steps);

// Raises DatabaseError, kDamaged, unless the file is sound and has the tables that the steps
// make, and nothing else: a trigger that somebody has put there would change what is stored.
void checkTables(Database& database, const SchemaSteps& steps);

}  // namespace vpnd
