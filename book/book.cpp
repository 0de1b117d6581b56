#include "book/book.h"

int BookLoaded;

// No book format is read yet: every name leaves the engine without a book.
void OpenBook(const char*) { BookLoaded = 0; }

Move PickBookMove() { return 0; }
