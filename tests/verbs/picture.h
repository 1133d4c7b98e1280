// What the compiler does before an edited MOVE: a PICTURE string becomes
// the editing record (class, sign of the length, picture normalised to "."
// as point, "," as separator, "$" as currency, blank for B), and a value
// becomes the prepared source, "+"/"-" and one digit a digit position,
// aligned to the picture.  Records are laid out byte by byte at their
// offsets, not through the library's structs.
#pragma once

#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <vector>

namespace pic {

struct Compiled {
    std::vector<uint8_t> record;   // NumericEditRecord image
    std::vector<uint8_t> deEdit;   // DeEditRecord image
    std::string picture;           // normalised, one byte a position
    int integerDigits = 0, fractionDigits = 0;
    int editClass = 0;
    size_t outputLength = 0;       // bytes the edit stores
};

inline std::string expand(const std::string& p) {
    std::string out;
    for (size_t i = 0; i < p.size(); ++i) {
        if (p[i] == '(' && !out.empty()) {
            size_t close = p.find(')', i);
            int n = std::stoi(p.substr(i + 1, close - i - 1));
            out.append(size_t(n - 1), out.back());
            i = close;
        } else {
            out += p[i];
        }
    }
    return out;
}

// mode: '.' plain, ',' DECIMAL-POINT IS COMMA, or the currency character.
inline Compiled compile(const std::string& cobolPicture, char mode = '.', bool blankWhenZero = false,
                        char currencySign = 0) {
    const std::string e = expand(cobolPicture);
    const char currency = (mode == '.' || mode == ',') ? '$' : mode;
    if (!currencySign) currencySign = currency;
    Compiled c;
    for (size_t i = 0; i < e.size(); ++i) {
        const char ch = e[i];
        if ((ch == 'C' && i + 1 < e.size() && e[i + 1] == 'R') || (ch == 'D' && i + 1 < e.size() && e[i + 1] == 'B')) {
            c.picture += e.substr(i, 2);
            ++i;
            continue;
        }
        char n = ch;
        if (mode == ',' && ch == '.') n = ',';
        else if (mode == ',' && ch == ',') n = '.';
        else if (ch == currency) n = '$';
        else if (ch == 'B') n = ' ';
        c.picture += n;
    }
    const std::string& p = c.picture;
    auto count = [&](char ch) { return int(std::count(p.begin(), p.end(), ch)); };
    const int plus = count('+'), minus = count('-'), dollars = count('$');
    const bool cr = p.find("CR") != std::string::npos, db = p.find("DB") != std::string::npos;
    const bool floatSign = plus >= 2 || minus >= 2;
    const bool floatCurrency = dollars >= 2;
    int cls = 0;
    if (floatSign) cls = plus >= 2 ? 6 : 7;
    else if (floatCurrency) cls = (plus == 1 || cr || db) ? 10 : minus == 1 ? 11 : 12;
    else if (plus == 1) cls = 2;
    else if (minus == 1) cls = 3;
    else if (cr) cls = 4;
    else if (db) cls = 5;
    c.editClass = cls;

    // Digit positions, and whether every one of them suppresses.
    const char floatChar = floatSign ? (plus >= 2 ? '+' : '-') : floatCurrency ? '$' : 0;
    bool firstFloat = true, afterPoint = false, allSuppress = true;
    for (size_t i = 0; i < p.size(); ++i) {
        char ch = p[i];
        bool digit = false;
        if (ch == '.' || ch == 'V') afterPoint = true;
        if (ch == '9') digit = true, allSuppress = false;
        else if (ch == 'Z' || ch == '*') digit = true;
        else if (floatChar && ch == floatChar) {
            if (firstFloat) firstFloat = false;
            else digit = true;
        }
        if (digit) (afterPoint ? c.fractionDigits : c.integerDigits)++;
        if (ch == 'C' || ch == 'D') ++i;
    }
    int16_t length = int16_t(p.size());
    if (allSuppress) length = int16_t(-length);
    const uint8_t editClass = blankWhenZero ? uint8_t(-(cls ? cls : 1)) : uint8_t(cls);
    c.record.resize(5 + p.size());
    memcpy(c.record.data(), &length, 2);
    c.record[2] = mode == ',' ? ',' : '.';
    c.record[3] = uint8_t(currencySign);
    c.record[4] = editClass;
    memcpy(c.record.data() + 5, p.data(), p.size());
    int16_t plain = int16_t(p.size());
    c.deEdit.resize(2 + p.size());
    memcpy(c.deEdit.data(), &plain, 2);
    memcpy(c.deEdit.data() + 2, p.data(), p.size());
    c.outputLength = p.size() - size_t(count('V') + count('P'));
    return c;
}

// "-1234.5" aligned to the picture's digits: "+"/"-", the integer digits
// (high-order ones lost), the fraction digits (low-order ones lost).
inline std::string prepare(const Compiled& c, const std::string& value) {
    std::string v = value;
    char sign = '+';
    if (!v.empty() && (v[0] == '-' || v[0] == '+')) sign = v[0], v = v.substr(1);
    size_t dot = v.find('.');
    std::string ip = dot == std::string::npos ? v : v.substr(0, dot);
    std::string fp = dot == std::string::npos ? "" : v.substr(dot + 1);
    ip = std::string(size_t(c.integerDigits), '0') + ip;
    ip = ip.substr(ip.size() - size_t(c.integerDigits));
    fp += std::string(size_t(c.fractionDigits), '0');
    fp = fp.substr(0, size_t(c.fractionDigits));
    // A value that is zero once aligned carries no sign, as compiled code
    // prepares it.
    if ((ip + fp).find_first_not_of('0') == std::string::npos) sign = '+';
    return std::string(1, sign) + ip + fp;
}

}  // namespace pic
