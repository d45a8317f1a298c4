#include "xParamFields.h"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "xParamBlock.h"

bool ParseLong(const std::string& text, long& value) {
    const char* end = text.data() + text.size();
    auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stop == end && !text.empty();
}

bool ParseDouble(const std::string& text, double& value) {
    const char* end = text.data() + text.size();
    auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stop == end && !text.empty() && std::isfinite(value);
}

std::vector<std::string> SplitList(const std::string& text) {
    std::vector<std::string> items;
    if (text.empty()) return items;
    std::size_t from = 0;
    while (true) {
        std::size_t comma = text.find(',', from);
        std::string item = text.substr(from, comma - from);
        const auto first = item.find_first_not_of(' ');
        const auto last = item.find_last_not_of(' ');
        items.push_back(first == std::string::npos ? "" : item.substr(first, last - first + 1));
        if (comma == std::string::npos) break;
        from = comma + 1;
    }
    return items;
}

std::string ShowFloat(float value) {
    char text[32];
    auto [end, error] = std::to_chars(text, text + sizeof text, value);
    return error == std::errc() ? std::string(text, end) : "?";
}

namespace {

std::string Range(const std::string& low, const std::string& high) {
    return "a number from " + low + " to " + high;
}

template <class T>
void AddWhole(xParamFields& fields, const std::string& name, const std::string& label, T& field,
              long low, long high) {
    fields.Add({name, label, Range(std::to_string(low), std::to_string(high)),
                [&field] { return std::to_string(field); },
                [&field, low, high](const std::string& text) {
                    long value;
                    if (!ParseLong(text, value) || value < low || value > high) return false;
                    field = T(value);
                    return true;
                }});
}

}  // namespace

void xParamFields::Short(const std::string& name, const std::string& label, std::int16_t& field,
                         long low, long high) {
    AddWhole(*this, name, label, field, low, high);
}

void xParamFields::Flag(const std::string& name, const std::string& label, std::int16_t& field) {
    Add({name, label, "0 (off) or 1 (on)", [&field] { return std::to_string(field); },
         [&field](const std::string& text) {
             long value;
             if (!ParseLong(text, value) || (value != 0 && value != 1)) return false;
             field = std::int16_t(value);
             return true;
         }});
}

void xParamFields::Long(const std::string& name, const std::string& label, std::int32_t& field,
                        long low, long high) {
    AddWhole(*this, name, label, field, low, high);
}

void xParamFields::Float(const std::string& name, const std::string& label, float& field,
                         double low, double high) {
    Add({name, label, Range(ShowFloat(float(low)), ShowFloat(float(high))),
         [&field] { return ShowFloat(field); },
         [&field, low, high](const std::string& text) {
             double value;
             if (!ParseDouble(text, value) || value < low || value > high) return false;
             field = float(value);
             return true;
         }});
}

void xParamFields::Text(const std::string& name, const std::string& label, std::string& field) {
    Add({name, label, "a text of at most 99 characters", [&field] { return field; },
         [&field](const std::string& text) {
             if (text.size() > kMaxParamText) return false;
             field = text;
             return true;
         }});
}

const xParamField* xParamFields::Find(const std::string& name) const {
    for (const auto& field : fields_)
        if (field.name == name) return &field;
    return nullptr;
}
