// The opening book.
#pragma once
#include "board/position.h"

// 1 while a book file is open.
extern int BookLoaded;

// Opens the named book; prints its own messages and leaves BookLoaded 0 when it cannot.
void OpenBook(const char* name);

// A book move for the current position chosen by weight, or 0.
Move PickBookMove();
