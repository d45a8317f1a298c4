// Writes a generated survey in the GEOTEM example's layout, for timings of the
// import on surveys of any size:
//   make_survey OUT.asc RECORDS LINES

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "SurveyText.h"

namespace {

long Count(const char* text, const char* what) {
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text, &end, 10);
    if (errno != 0 || end == text || *end != '\0' || value < 1) {
        std::fprintf(stderr, "make_survey: %s must be a whole number above 0, not '%s'\n", what,
                     text);
        std::exit(2);
    }
    return value;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: make_survey OUT.asc RECORDS LINES\n");
        return 2;
    }
    const long records = Count(argv[2], "RECORDS");
    const long lines = Count(argv[3], "LINES");
    if (lines > records) {
        std::fprintf(stderr, "make_survey: more lines (%ld) than records (%ld)\n", lines, records);
        return 2;
    }
    std::FILE* out = std::fopen(argv[1], "wb");
    if (!out) {
        std::fprintf(stderr, "make_survey: cannot write %s: %s\n", argv[1], std::strerror(errno));
        return 1;
    }
    std::vector<char> buffer(1 << 20);
    std::setvbuf(out, buffer.data(), _IOFBF, buffer.size());
    SurveyText survey(records, lines);
    bool failed = false;
    survey.Write([&](const char* text, std::size_t length) {
        if (!failed && std::fwrite(text, 1, length, out) != length) failed = true;
    });
    if (std::fclose(out) != 0 || failed) {
        std::fprintf(stderr, "make_survey: writing %s failed\n", argv[1]);
        return 1;
    }
    std::printf("%s: %ld records on %ld lines\n", argv[1], records, lines);
    return 0;
}
