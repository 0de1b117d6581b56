# For engine-testing frameworks: `make EXE=name` builds the optimised engine as ./name, and
# `./name bench` prints the bench node count last. Developers use CMake directly (README).
EXE ?= velumbrak
BUILD ?= build-make

.PHONY: all clean
all:
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release -DVELUMBRAK_TESTS=OFF
	cmake --build $(BUILD) -j2 --target velumbrak
	cp $(BUILD)/velumbrak $(EXE)

clean:
	rm -rf $(BUILD)
