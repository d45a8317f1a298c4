#include "xFitAverage.h"

#include <cstdio>
#include <ostream>
#include <string>

#include "xMFile.h"
#include "xTRClasf.h"

namespace {

const std::string kBlanks(13, ' ');

std::string Column(const char* format, const std::string& name, long index) {
    char text[64];
    std::snprintf(text, sizeof text, format, name.c_str(), int(index));
    return text;
}

// One title row; prefixes: time domain, then in-phase, quadrature, third part.
void WriteTitles(std::ostream& out, const std::vector<xFitAverageColumns>& columns,
                 bool frequencyDomain, std::int32_t version, const char* const prefixes[4]) {
    for (const auto& c : columns) {
        const std::string name = ComponentName(c.component);
        if (!frequencyDomain) {
            for (long i = 1; i <= c.count; ++i) out << Column(prefixes[0], name, i);
            continue;
        }
        const int parts = version > 13 ? 3 : 2;
        for (int part = 1; part <= parts; ++part)
            for (long i = 1; i <= c.count; ++i) out << Column(prefixes[part], name, i);
    }
    out << '\n';
}

void WriteValues(std::ostream& out, const std::vector<FloatArray>& rows) {
    char text[32];
    for (const auto& row : rows) {
        for (long i = row.Low(); i <= row.High(); ++i) {
            std::snprintf(text, sizeof text, "%13.4e", double(row[i]));
            out << text;
        }
    }
    out << '\n';
}

}  // namespace

std::vector<xFitAverageColumns> FitAverageColumns(const xMFile& file, bool frequencyDomain) {
    std::vector<xFitAverageColumns> columns;
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        if (file.ComponentFlags()[id] == 0) continue;
        const long channels = file.Channels()[id];
        columns.push_back({id, frequencyDomain ? channels / 2 : channels});
    }
    return columns;
}

void WriteFitAverageHeader(std::ostream& out, const std::vector<xFitAverageColumns>& columns,
                           bool frequencyDomain, std::int32_t version) {
    static const char* const data[4] = {"    A(%s)%2d", "   AI(%s)%2d", "   AQ(%s)%2d",
                                        "   AT(%s)%2d"};
    static const char* const fit[4] = {"    F(%s)%2d", "   FI(%s)%2d", "   FQ(%s)%2d",
                                       "   FT(%s)%2d"};
    out << "         line";
    WriteTitles(out, columns, frequencyDomain, version, data);
    out << kBlanks;
    WriteTitles(out, columns, frequencyDomain, version, fit);
}

void WriteFitAverageLine(std::ostream& out, std::int32_t line, const std::vector<FloatArray>& data,
                         const std::vector<FloatArray>& fit) {
    char number[32];
    std::snprintf(number, sizeof number, "%13d", int(line));
    out << number;
    WriteValues(out, data);
    out << kBlanks;
    WriteValues(out, fit);
}
