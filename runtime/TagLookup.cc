#include "runtime/TagLookup.h"

#include <cctype>
#include <cstring>

#define TAG(number, name, flags) \
    { number, name, name "_Error", flags }

TagErrorSetting tag_default_errorsettings[kTagRows] = {
    TAG(0, "OxIF", 3),
    TAG(1, "OxELSE", 3),
    TAG(2, "OxIMPORT", 1),
    TAG(3, "OxIMPORTSTOP", 3),
    TAG(4, "OxEXPORT", 1),
    TAG(5, "OxASSIGN", 3),
    TAG(6, "OxEVAL", 3),
    TAG(7, "OxHIDE", 3),
    TAG(8, "OxPOP", 1),
    TAG(9, "OxPOPSTOP", 3),
    TAG(10, "OxPOPDELETE", 1),
    TAG(11, "OxSMTP", 1),
    TAG(12, "OxWHILE", 3),
    TAG(13, "OxWHILESTOP", 3),
    TAG(14, "OxCALL", 3),
    TAG(15, "OxCALLSTOP", 3),
    TAG(16, "OxFUNCTION", 3),
    TAG(17, "OxFUNCTIONRETURN", 3),
    TAG(18, "OxELSEIF", 3),
    TAG(19, "OxCOMMERCE", 3),
    TAG(20, "OxCOMMERCESTOP", 3),
    TAG(21, "OxCOMMENT", 3),
    TAG(22, "OxDO", 3),
    TAG(23, "OxLOCKFILE", 3),
    TAG(24, "OxLOCALIZED", 3),
    TAG(25, "OxLOCALIZED-TOKEN", 3),
    TAG(26, "OxLOCALIZED-TEXT", 3),
    TAG(27, "OxEXIT", 3),
    TAG(28, "OxOPEN", 1),
    TAG(29, "OxCLOSE", 1),
    TAG(30, "OxSKIP", 1),
    TAG(31, "OxGO", 1),
    TAG(32, "OxPRIMARY", 3),
    TAG(33, "OxFIND", 1),
    TAG(34, "OxSETINDEX", 1),
    TAG(35, "OxUPDATE", 1),
    TAG(36, "OxDELETE", 1),
    TAG(37, "OxUNDELETE", 1),
    TAG(38, "OxADD", 1),
    TAG(39, "OxMAKEINDEX", 3),
    TAG(40, "OxPACK", 1),
    TAG(41, "OxREINDEX", 1),
    TAG(42, "OxCREATE", 1),
    TAG(43, "OxREVEALSTRUCTURE", 1),
    TAG(44, "OxOPENVIEW", 1),
    TAG(45, "OxCLOSEVIEW", 1),
    TAG(46, "OxQUERY", 1),
    TAG(47, "OxFILTER", 1),
    TAG(48, "OXIN", 3),
    TAG(49, "OxASSIGNARRAY", 3),
    TAG(50, "OxDIMENSION", 3),
    TAG(51, "OxMEMBER", 3),
    TAG(52, "OxCOMMIT", 1),
    TAG(53, "OxROLLBACK", 1),
    TAG(54, "OxINCLUDE", 0),
    TAG(55, "OxTRANSACT", 1),
    TAG(56, "OxREFERENCE", 1),
    TAG(57, "OxREFERENCEARRAY", 1),
    TAG(58, "OxDBCOMMAND", 1),
    TAG(59, "OxCAPTURE", 1),
    TAG(60, "OxIFDEF", 0),
    TAG(61, "OxIFNDEF", 0),
    {62, "(in expression)", "OxEXPRESSION_Error", 3},
    TAG(63, "OxIMPORTCONTINUE", 3),
    TAG(64, "OxPOPCONTINUE", 3),
    TAG(65, "OxWHILECONTINUE", 3),
    TAG(66, "OxCALLCONTINUE", 3),
    TAG(67, "OxCOMMERCECONTINUE", 3),
    TAG(68, "OxFOREACH", 3),
    TAG(69, "OxFOREACHSTOP", 3),
    TAG(70, "OxFOREACHCONTINUE", 3),
    TAG(71, "OxFOR", 3),
    TAG(72, "OxFORSTOP", 3),
    TAG(73, "OxFORCONTINUE", 3),
    TAG(74, "OxASSEMBLY", 0),
    TAG(75, "OxASYNCHRONOUS", 1),
    {76, nullptr, nullptr, 0},
};

#undef TAG

int TagLookup::Lookup(const char* name, int length) {
    static constexpr int kLongest = 18;
    if (!name || length <= 0 || length > kLongest) return -1;
    char lowered[kLongest];
    for (int i = 0; i < length; i++)
        lowered[i] = static_cast<char>(tolower(static_cast<unsigned char>(name[i])));
    auto is = [&](const char* keyword) {
        return strlen(keyword) == static_cast<size_t>(length) && !memcmp(keyword, lowered, length);
    };
    if (is("oxfuncreturn")) return 17;
    if (is("oxasync")) return kTagAsynchronous;
    if (is("expression")) return kTagExpression;
    // Every other keyword is a tag name in lower case.
    for (int row = 0; row < kTagRows - 1; row++) {
        const char* tag = tag_default_errorsettings[row].name;
        if (row == kTagExpression || strlen(tag) != static_cast<size_t>(length)) continue;
        int i = 0;
        while (i < length && tolower(static_cast<unsigned char>(tag[i])) == lowered[i])
            i++;
        if (i == length) return row;
    }
    return -1;
}
