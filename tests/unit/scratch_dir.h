// A fresh temporary directory made current for the life of the object, for code that reads its
// files from the current directory.
#pragma once
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

struct ScratchDir {
    std::string path;
    std::filesystem::path previous;

    ScratchDir() {
        char name[] = "/tmp/velumbrak-unit-XXXXXX";
        path     = mkdtemp(name);
        previous = std::filesystem::current_path();
        std::filesystem::current_path(path);
    }
    ~ScratchDir() {
        std::filesystem::current_path(previous);
        std::filesystem::remove_all(path);
    }
    void Write(const std::string& name, const std::string& content) const {
        std::ofstream(path + "/" + name, std::ios::binary) << content;
    }
    void Remove(const std::string& name) const { std::filesystem::remove(path + "/" + name); }
};
