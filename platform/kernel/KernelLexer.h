#pragma once
// Splits kernel source into tokens. Comments and white space (tabs included)
// are skipped; anything the language has no token for is a diagnostic.

#include <string_view>
#include <vector>

namespace cif::kernel {

// Invalid: a character the language has no token for.
enum class TokenKind : unsigned char { End, Identifier, Number, Punct, Invalid };

struct Token {
    TokenKind kind = TokenKind::End;
    std::string_view text;  // points into the source
    int line = 1;
    int column = 1;
    double number = 0.0;     // Number
    bool isInteger = false;  // Number written without '.' or exponent
    bool lineStart = false;  // first token of a line (a line continued with '\\' is one line)

    bool is(std::string_view punct) const { return kind == TokenKind::Punct && text == punct; }
    bool isWord(std::string_view word) const {
        return kind == TokenKind::Identifier && text == word;
    }
};

// Tokenises `source`; the last token is always End. Throws DiagnosticError on
// a malformed number or an unterminated comment.
// Integers may be written in decimal, octal (leading 0) or hexadecimal (0x).
std::vector<Token> tokenizeKernel(std::string_view source);

}  // namespace cif::kernel
