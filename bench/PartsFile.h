#pragma once

#include "bench/BenchMain.h"

#include <cstdlib>
#include <string>
#include <unistd.h>

namespace bench {

constexpr int parallelParts = 8;
constexpr std::int64_t partSize = 8 * mebibyte;

/// A file of zeros for a workload, removed at its end.
class PartsFile {
public:
    explicit PartsFile(std::int64_t size) : m_path("bench-parts-XXXXXX"), m_file(mkstemp(m_path.data())) {
        require(m_file >= 0 && ftruncate(m_file, size) == 0, "no temporary file");
    }
    PartsFile(const PartsFile&) = delete;
    PartsFile& operator=(const PartsFile&) = delete;
    ~PartsFile() {
        close(m_file);
        unlink(m_path.c_str());
    }

    const std::string& path() const { return m_path; }
    int descriptor() const { return m_file; }

private:
    std::string m_path;
    int m_file;
};

}  // namespace bench
