#include "xAPCont.h"

#include <cstdio>

xAPCont::xAPCont() : xAPCont(Id, 0) {}

xAPCont::xAPCont(int processId, std::int32_t blockVersion)
    : xPrsCont(processId, blockVersion, "ANM") {}

void xAPCont::WriteBlock(xBlockWriter& out, std::streamoff) const {
    out.Put(selection);
    out.Put(averaging);
    out.Put(amplitudeThreshold);
}

void xAPCont::ReadBlock(xBlockReader& in, std::int32_t, std::streamoff) {
    in.Get(selection);
    in.Get(averaging);
    in.Get(amplitudeThreshold);
}

void xAPCont::BlockFields(xParamFields& fields) {
    fields.Add({"Selection", "Selection",
                "a 32-bit flags word, decimal or 0x followed by hex digits",
                [this] {
                    char text[16];
                    std::snprintf(text, sizeof text, "0x%08X", unsigned(selection));
                    return std::string(text);
                },
                [this](const std::string& text) {
                    long value;
                    const bool hex =
                        text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
                    if (hex) {
                        value = 0;
                        for (std::size_t i = 2; i < text.size(); ++i) {
                            const char c = text[i];
                            int digit = c >= '0' && c <= '9'   ? c - '0'
                                        : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                        : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                               : -1;
                            if (digit < 0 || i > 9) return false;
                            value = value * 16 + digit;
                        }
                    } else if (!ParseLong(text, value)) {
                        return false;
                    }
                    if (value < 0 || value > 0xFFFFFFFFL) return false;
                    selection = std::uint32_t(value);
                    return true;
                }});
    fields.Float("Averaging", "Avaraging (m):", averaging, 0.0, 1.0e6);
    fields.Float("AmplitudeThreshold", "Amplitude treshold(%):", amplitudeThreshold, 0.0, 100.0);
}
