#pragma once
// The named fields of a parameter class: what the parameter display shows, what
// `tovarn set` may change, and the values each accepts. The names are the
// field names of the PAR sections; the labels are the dialog's words.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

struct xParamField {
    std::string name;
    std::string label;
    std::string valid;  // the accepted values, in words
    std::function<std::string()> show;
    std::function<bool(const std::string&)> assign;  // false: value refused, field unchanged
};

class xParamFields {
  public:
    void Short(const std::string& name, const std::string& label, std::int16_t& field, long low,
               long high);
    void Flag(const std::string& name, const std::string& label, std::int16_t& field);
    void Long(const std::string& name, const std::string& label, std::int32_t& field, long low,
              long high);
    void Float(const std::string& name, const std::string& label, float& field, double low,
               double high);
    void Text(const std::string& name, const std::string& label, std::string& field);
    // A numbered choice shown by its name; accepts the number or the name.
    template <class T>
    void Choice(const std::string& name, const std::string& label, T& field,
                const std::vector<std::string>& names);
    void Add(xParamField field) { fields_.push_back(std::move(field)); }
    // The field added last, to be given more to do.
    xParamField& Last() { return fields_.back(); }

    const std::vector<xParamField>& All() const { return fields_; }
    const xParamField* Find(const std::string& name) const;

  private:
    std::vector<xParamField> fields_;
};

// Whole numbers and reals as the command line writes them; false on anything
// else, trailing characters included.
bool ParseLong(const std::string& text, long& value);
bool ParseDouble(const std::string& text, double& value);
// The items of a comma-separated list, blanks around each removed; an empty
// text is an empty list.
std::vector<std::string> SplitList(const std::string& text);
// A float as the parameter display shows it: shortest form that reads back.
std::string ShowFloat(float value);

template <class T>
void xParamFields::Choice(const std::string& name, const std::string& label, T& field,
                          const std::vector<std::string>& names) {
    std::string valid;
    for (std::size_t i = 0; i < names.size(); ++i)
        valid += (i ? ", " : "") + std::to_string(i) + " \"" + names[i] + "\"";
    Add({name, label, valid,
         [&field, names] {
             return field >= 0 && std::size_t(field) < names.size() ? names[std::size_t(field)]
                                                                    : std::to_string(field);
         },
         [&field, names](const std::string& text) {
             for (std::size_t i = 0; i < names.size(); ++i)
                 if (text == names[i]) return field = T(i), true;
             long value;
             if (!ParseLong(text, value) || value < 0 || std::size_t(value) >= names.size())
                 return false;
             field = T(value);
             return true;
         }});
}
