#include "tools/XBaseKeyExpression.h"

#include <strings.h>

#include "database/XBaseTable.h"

namespace {

std::string Trimmed(const std::string& text) {
    size_t start = text.find_first_not_of(" \t");
    if (start == std::string::npos) return "";
    size_t end = text.find_last_not_of(" \t");
    return text.substr(start, end - start + 1);
}

XBaseField* FieldNamed(XBaseTable* table, const std::string& name) {
    List<XBaseField>& fields = table->fields();
    XBaseField* field = fields.First();
    while (field && strcasecmp(field->name(), name.c_str()) != 0)
        field = fields.Next();
    return field;
}

}  // namespace

bool XBaseKeyExpression::Parse(const char* expression, XBaseTable* table) {
    fields_.clear();
    std::string text = expression;
    size_t start = 0;
    for (;;) {
        size_t dot = text.find('.', start);
        XBaseField* field = FieldNamed(table, Trimmed(text.substr(start, dot - start)));
        if (!field) {
            fields_.clear();
            return false;
        }
        fields_.push_back(field);
        if (dot == std::string::npos) return true;
        start = dot + 1;
    }
}

std::string XBaseKeyExpression::Key(int keysize) const {
    std::string key;
    for (XBaseField* field : fields_) {
        const char* value = field->data();
        if (value) key += value;
    }
    size_t limit = keysize > 0 ? static_cast<size_t>(keysize - 1) : 0;
    return key.size() > limit ? key.substr(0, limit) : key;
}
