#pragma once

// Where a table with resources of its own would link them. The table Xxx has none.
namespace LoamSystemAcl {}
