#include "tests/unit/test_main_setup.h"

#include "board/geometry.h"
#include "board/position.h"
#include "eval/values.h"

void InitTablesForTests() {
    static bool done = false;
    if (done) return;
    done = true;
    InitBoardTables();
    LoadEvaluationValues();
}
