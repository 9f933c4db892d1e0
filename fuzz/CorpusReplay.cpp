// Passes each file of a corpus to a fuzzer's function, whole and cut at each position, without libFuzzer.
#include "fuzz/FuzzInput.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: " << argv[0] << " CORPUS\n";
        return 2;
    }
    try {
        int count = 0;
        for (const auto& file : std::filesystem::directory_iterator(argv[1])) {
            std::ifstream stream(file.path(), std::ios::binary);
            const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
            if (!stream) {
                std::cerr << file.path() << " cannot be read\n";
                return 1;
            }
            for (std::size_t length = 0; length <= bytes.size(); ++length) {
                LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), length);
            }
            ++count;
        }
        std::cout << count << " files\n";
        return count > 0 ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
