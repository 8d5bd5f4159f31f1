// A fresh working directory for a test: the diagnostic files and tables
// live at fixed relative paths.
#ifndef KESTRA_TESTS_DIAG_SCRATCH_DIR_H
#define KESTRA_TESTS_DIAG_SCRATCH_DIR_H

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "ui/os.h"

struct ScratchDir {
    std::filesystem::path previous;
    std::filesystem::path dir;

    ScratchDir()
    {
        static int serial;
        previous = std::filesystem::current_path();
        dir = std::filesystem::temp_directory_path() /
              ("kestra-test-" + std::to_string(CurrentProcessId()) + "-" + std::to_string(++serial));
        std::filesystem::create_directories(dir);
        std::filesystem::current_path(dir);
    }
    ~ScratchDir()
    {
        std::filesystem::current_path(previous);
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    }
};

inline std::string ReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteFile(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary) << text;
}

#endif
