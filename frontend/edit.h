// The `edit` command: xboard's board editor, read character by character.
#pragma once

void EditBoard();
