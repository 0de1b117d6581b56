// The opening book.
#pragma once

// 1 while a book file is open.
extern int BookLoaded;

// Opens the named book; prints its own messages and leaves BookLoaded 0 when it cannot.
void OpenBook(const char* name);
