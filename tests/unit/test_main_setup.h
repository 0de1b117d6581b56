#pragma once
// Builds the start-up tables once for all unit tests.
void InitTablesForTests();
