#pragma once
// Generated survey text in the column layout of the GEOTEM example (55 items a
// record: line at 2, FID at 4, X off-time at 20-35, Z off-time at 40-55), for
// the import benchmarks and the whole-run timings. Fields are written as the
// contractor's files write them: right-aligned in 11 characters, coordinates
// to a decimetre, decays as whole numbers. Every other line is flown the other
// way, so its FIDs fall.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>

class SurveyText {
  public:
    static constexpr int Items = 55;

    SurveyText(long records, long lines) : records_(records), lines_(lines < 1 ? 1 : lines) {}

    long Records() const { return records_; }
    long Lines() const { return lines_; }
    // Records of line k (0-based): the records spread as evenly as they go.
    long LineRecords(long k) const { return records_ / lines_ + (k < records_ % lines_ ? 1 : 0); }
    static std::int32_t LineNumber(long k) { return std::int32_t(10010 + 10 * k); }

    // Calls sink(const char* text, size_t length) for each record in file order.
    template <class Sink>
    void Write(Sink&& sink) {
        char text[Items * 16 + 2];
        double fid = 324830.0;
        for (long k = 0; k < lines_; ++k) {
            const long n = LineRecords(k);
            const bool falling = k % 2 == 1;
            const double north = 7567132.1 + 400.0 * double(k);
            for (long i = 0; i < n; ++i) {
                // Along the line in flying order; a falling line is flown west
                // to east with its FIDs counted down.
                const long along = falling ? n - 1 - i : i;
                const double recordFid = falling ? fid + double(n - 1 - i) : fid + double(i);
                const double east = 485008.1 - 18.0 * double(along);
                const std::size_t length = Record(text, k, recordFid, east, north, along);
                sink(text, length);
            }
            fid += double(n) + 500.0;  // a FID a second, a turn between lines
        }
    }

  private:
    // A cheap generator that gives the same file on every machine.
    std::uint32_t Next() {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 17;
        state_ ^= state_ << 5;
        return state_;
    }
    double Noise(double amplitude) { return amplitude * (double(Next() % 20001) / 10000.0 - 1.0); }

    std::size_t Record(char* text, long k, double fid, double east, double north, long along) {
        int n = 0;
        auto put = [&](const char* format, double value) {
            n += std::snprintf(text + n, 32, format, value);
        };
        n += std::snprintf(text + n, 32, "%10d", 11);
        n += std::snprintf(text + n, 32, "%11d", int(LineNumber(k)));
        put("%11.1f", 1001.0 + double(k / 8));
        put("%11.1f", fid);
        put("%11.1f", east - 123.4);
        put("%11.1f", north - 175.7);
        put("%11.1f", east);
        put("%11.1f", north + Noise(3.0));
        const double altitude =
            std::round(115.0 + 12.0 * std::sin(double(along) * 0.01) + Noise(4.0));
        put("%11.1f", altitude);
        put("%11.1f", 423.0);
        const double ground = 241.7 + 30.0 * std::sin(double(along) * 0.002 + double(k));
        put("%11.1f", ground);
        put("%11.2f", 2783.57 + Noise(0.5));
        put("%11.1f", std::round(120000.0 + Noise(50000.0)));
        // A conductor crossed in the middle of every line lifts the late channels.
        const double x = double(along % 2000) - 1000.0;
        const double anomaly = 1.0 + 4.0 * std::exp(-x * x / 20000.0);
        // Six on-time X channels, then X off-time, four on-time Z, Z off-time.
        const double onX[6] = {26274.0, 61039.0, 37213.0, -9478.0, -38913.0, -57887.0};
        for (double v : onX) put("%11.1f", std::round(v + Noise(300.0)));
        const double onZ[4] = {25147.0, -9152.0, -34034.0, -52829.0};
        const double early[2] = {70477.0, 58924.0};
        const double rate[2] = {6.8, 5.3};
        for (int component = 0; component < 2; ++component) {
            if (component == 1)
                for (double v : onZ) put("%11.1f", std::round(v + Noise(300.0)));
            for (int ch = 0; ch < 16; ++ch) {
                const double t = double(ch) / 15.0;
                const double decay =
                    early[component] * std::exp(-rate[component] * t) * (1.0 + (anomaly - 1.0) * t);
                put("%11.1f", std::round(decay + Noise(5.0 + 0.002 * decay)));
            }
        }
        text[n++] = '\n';
        return std::size_t(n);
    }

    long records_;
    long lines_;
    std::uint32_t state_ = 2463534242u;
};
