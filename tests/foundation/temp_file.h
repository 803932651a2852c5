// A file of its own for one test case, removed with the object.
#ifndef OVPATCH_TESTS_FOUNDATION_TEMP_FILE_H
#define OVPATCH_TESTS_FOUNDATION_TEMP_FILE_H

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

class TempFile {
public:
    // The file does not exist yet.
    TempFile() : path_(testing::TempDir() + "ovpatch_" + std::to_string(std::random_device()())) {}
    explicit TempFile(const std::string& content) : TempFile() { write(content); }
    ~TempFile() { std::filesystem::remove(path_); }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;

    const char* path() const { return path_.c_str(); }
    bool exists() const { return std::filesystem::exists(path_); }
    void write(const std::string& content) const { std::ofstream(path_, std::ios::binary) << content; }
    std::string content() const { return read(std::ios::binary); }
    // What a stream in text mode was given, whether or not the host widens line feeds.
    std::string written() const { return read(std::ios::in); }

private:
    std::string read(std::ios::openmode mode) const {
        std::ifstream stream(path_, mode);
        return std::string(std::istreambuf_iterator<char>(stream), {});
    }

    std::string path_;
};

#endif
