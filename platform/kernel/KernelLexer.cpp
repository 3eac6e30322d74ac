#include "platform/kernel/KernelLexer.h"

#include <cctype>
#include <charconv>
#include <limits>
#include <string>

#include "platform/kernel/KernelDiagnostic.h"

namespace cif::kernel {
namespace {

bool isIdentStart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isIdentChar(char c) {
    return isIdentStart(c) || isDigit(c);
}

// The value of a decimal literal that from_chars reports as out of range,
// which it does both for overflow and for underflow: the power of ten of
// its first significant digit tells which, and gives infinity or zero.
double outOfRangeValue(std::string_view literal) {
    long intDigits = 0;             // integer digits from the first nonzero one
    long leadingFractionZeros = 0;  // zeros after the point before a nonzero digit
    bool seenPoint = false, seenFractionDigit = false;
    size_t k = 0;
    for (; k < literal.size() && (isDigit(literal[k]) || literal[k] == '.'); ++k) {
        if (literal[k] == '.') {
            seenPoint = true;
        } else if (!seenPoint) {
            if (intDigits > 0 || literal[k] != '0') ++intDigits;
        } else if (!seenFractionDigit && literal[k] == '0') {
            ++leadingFractionZeros;
        } else {
            seenFractionDigit = true;
        }
    }
    const long magnitude = intDigits > 0 ? intDigits - 1 : -(leadingFractionZeros + 1);
    long exponent = 0;
    bool negative = false;
    if (k < literal.size()) ++k;  // 'e' or 'E'
    if (k < literal.size() && (literal[k] == '+' || literal[k] == '-'))
        negative = literal[k++] == '-';
    for (; k < literal.size() && isDigit(literal[k]); ++k) {
        if (exponent < 100000000) exponent = exponent * 10 + (literal[k] - '0');
    }
    return magnitude + (negative ? -exponent : exponent) < 0
               ? 0.0
               : std::numeric_limits<double>::infinity();
}

// Two-character operators first so that the longest match wins.
constexpr std::string_view kTwoCharPuncts[] = {"<=", ">=", "==", "!=", "&&", "||", "++",
                                               "--", "+=", "-=", "*=", "/=", "<<", ">>",
                                               "%=", "&=", "|=", "^=", "^^"};
constexpr std::string_view kOneCharPuncts = "+-*/<>=!(){}[],;.?:&|^%~#";

}  // namespace

std::vector<Token> tokenizeKernel(std::string_view src) {
    std::vector<Token> tokens;
    size_t i = 0;
    int line = 1;
    int column = 1;
    auto advance = [&](size_t n) {
        for (size_t k = 0; k < n && i < src.size(); ++k, ++i) {
            if (src[i] == '\n') {
                ++line;
                column = 1;
            } else {
                ++column;
            }
        }
    };
    bool lineStart = true;
    while (i < src.size()) {
        const char c = src[i];
        if (c == '\n') lineStart = true;
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v') {
            advance(1);
            continue;
        }
        // A backslash at the end of a line joins the next line to it.
        if (c == '\\') {
            size_t j = i + 1;
            if (j < src.size() && src[j] == '\r') ++j;
            if (j < src.size() && src[j] == '\n') {
                advance(j + 1 - i);
                continue;
            }
        }
        if (c == '/' && i + 1 < src.size() && src[i + 1] == '/') {
            while (i < src.size() && src[i] != '\n')
                advance(1);
            continue;
        }
        if (c == '/' && i + 1 < src.size() && src[i + 1] == '*') {
            const int startLine = line, startColumn = column;
            const size_t end = src.find("*/", i + 2);
            if (end == std::string_view::npos) fail(startLine, startColumn, "unterminated comment");
            advance(end + 2 - i);
            continue;
        }
        Token token;
        token.line = line;
        token.column = column;
        token.lineStart = lineStart;
        lineStart = false;
        const size_t start = i;
        if (c == '0' && i + 2 < src.size() && (src[i + 1] == 'x' || src[i + 1] == 'X')) {
            size_t j = i + 2;
            double value = 0.0;
            while (j < src.size() && std::isxdigit(static_cast<unsigned char>(src[j]))) {
                const char d = src[j++];
                value = value * 16.0 + (isDigit(d) ? d - '0' : (d | 0x20) - 'a' + 10);
            }
            if (j == i + 2 || (j < src.size() && isIdentChar(src[j]))) {
                while (j < src.size() && isIdentChar(src[j]))
                    ++j;
                fail(line, column,
                     "invalid number '" + std::string(src.substr(start, j - start)) + "'");
            }
            token.kind = TokenKind::Number;
            token.text = src.substr(start, j - start);
            token.number = value;
            token.isInteger = true;
            advance(j - i);
        } else if (isIdentStart(c)) {
            size_t j = i;
            while (j < src.size() && isIdentChar(src[j]))
                ++j;
            token.kind = TokenKind::Identifier;
            token.text = src.substr(start, j - start);
            advance(j - i);
        } else if (isDigit(c) || (c == '.' && i + 1 < src.size() && isDigit(src[i + 1]))) {
            size_t j = i;
            bool integer = true;
            while (j < src.size() && isDigit(src[j]))
                ++j;
            if (j < src.size() && src[j] == '.') {
                integer = false;
                ++j;
                while (j < src.size() && isDigit(src[j]))
                    ++j;
            }
            if (j < src.size() && (src[j] == 'e' || src[j] == 'E')) {
                size_t k = j + 1;
                if (k < src.size() && (src[k] == '+' || src[k] == '-')) ++k;
                if (k < src.size() && isDigit(src[k])) {
                    integer = false;
                    j = k;
                    while (j < src.size() && isDigit(src[j]))
                        ++j;
                }
            }
            const size_t numberEnd = j;
            if (j < src.size() && (src[j] == 'f' || src[j] == 'F') && !integer) ++j;
            if (j < src.size() && isIdentChar(src[j])) {
                while (j < src.size() && isIdentChar(src[j]))
                    ++j;
                fail(line, column,
                     "invalid number '" + std::string(src.substr(start, j - start)) + "'");
            }
            // from_chars is independent of the host's locale, unlike strtod.
            double value = 0.0;
            const auto [ptr, ec] =
                std::from_chars(src.data() + start, src.data() + numberEnd, value);
            if (ec == std::errc::result_out_of_range) {
                value = outOfRangeValue(src.substr(start, numberEnd - start));
            } else if (ec != std::errc() || ptr != src.data() + numberEnd) {
                fail(line, column,
                     "invalid number '" + std::string(src.substr(start, j - start)) + "'");
            }
            // A leading zero makes an integer octal.
            if (integer && numberEnd - start > 1 && src[start] == '0') {
                value = 0.0;
                for (size_t k = start + 1; k < numberEnd; ++k) {
                    if (src[k] > '7')
                        fail(line, column,
                             "invalid octal number '" +
                                 std::string(src.substr(start, numberEnd - start)) + "'");
                    value = value * 8.0 + (src[k] - '0');
                }
            }
            token.kind = TokenKind::Number;
            token.text = src.substr(start, j - start);
            token.number = value;
            token.isInteger = integer;
            advance(j - i);
        } else {
            token.kind = TokenKind::Punct;
            bool matched = false;
            if (i + 1 < src.size()) {
                for (std::string_view p : kTwoCharPuncts) {
                    if (src.substr(i, 2) == p) {
                        token.text = src.substr(i, 2);
                        matched = true;
                        break;
                    }
                }
            }
            if (!matched && kOneCharPuncts.find(c) != std::string_view::npos) {
                token.text = src.substr(i, 1);
                matched = true;
            }
            if (!matched) {
                // Reported by the parser, so text skipped by the
                // preprocessor may hold anything.
                token.kind = TokenKind::Invalid;
                token.text = src.substr(i, 1);
            }
            advance(token.text.size());
        }
        tokens.push_back(token);
    }
    Token end;
    end.line = line;
    end.column = column;
    tokens.push_back(end);
    return tokens;
}

}  // namespace cif::kernel
