#include "frontend/input.h"

#include <cerrno>
#include <cstdio>
#include <unistd.h>

#include "platform/platform.h"

std::string InputBuffer;
std::string CommandLine;

static bool DiscardingLongLine = false;
// A terminal reports its end of input once and then blocks again: the end is kept.
static bool InputClosed = false;

void ResetInput() {
    InputBuffer.clear();
    DiscardingLongLine = false;
    InputClosed        = false;
}

bool ReadInput() {
    if (InputClosed) return false;
    char chunk[READ_CHUNK];
    ssize_t got;
    do got = read(0, chunk, sizeof chunk);
    while (got < 0 && errno == EINTR);
    if (got <= 0) {
        InputClosed = true;
        return false;
    }

    size_t start = 0;
    if (DiscardingLongLine) {
        while (start < (size_t)got && chunk[start] != '\n') start++;
        if (start == (size_t)got) return true;
        start++;
        DiscardingLongLine = false;
        std::fputs("Error (line too long)\n", stdout);
        std::fflush(stdout);
    }
    InputBuffer.append(chunk + start, (size_t)got - start);

    size_t lastFeed = InputBuffer.rfind('\n');
    size_t tail     = lastFeed == std::string::npos ? InputBuffer.size() : InputBuffer.size() - lastFeed - 1;
    if (tail > MAX_LINE_LENGTH) {
        InputBuffer.resize(InputBuffer.size() - tail);
        DiscardingLongLine = true;
    }
    return true;
}

int InputPending() {
    if (InputBuffer.find('\n') != std::string::npos || InputClosed) return 1;
    return StdinReady() ? 1 : 0;
}

static void TakeLine(std::string& destination) {
    size_t feed = InputBuffer.find('\n');
    destination.assign(InputBuffer, 0, feed);
    for (char& c : destination)
        if (c == '\r') c = ' ';
    InputBuffer.erase(0, feed + 1);
}

int ReadLine(int wait, std::string& destination) {
    destination.clear();
    if (InputBuffer.find('\n') == std::string::npos) {
        if (wait) {
            do
                if (!ReadInput()) return -1;
            while (InputBuffer.find('\n') == std::string::npos);
        } else {
            if (!InputPending()) return 0;
            if (!ReadInput()) return -1;
            if (InputBuffer.find('\n') == std::string::npos) return 0;
        }
    }
    TakeLine(destination);
    return 1;
}
