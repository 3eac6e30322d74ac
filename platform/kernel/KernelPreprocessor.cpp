#include "platform/kernel/KernelPreprocessor.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/kernel/KernelDiagnostic.h"
#include "platform/kernel/KernelProgram.h"

namespace cif::kernel {
namespace {

// Expansion stops here: a few macros that each use the previous one twice
// grow exponentially, and the parser has limits of its own further on.
constexpr size_t kMaxExpandedTokens = 1000000;
constexpr int kMaxConditionalDepth = kMaxNesting;

struct Macro {
    bool functionLike = false;
    std::vector<std::string_view> params;
    std::vector<Token> body;
};

// A token being expanded, with the names of the macros it came from (a
// macro is not expanded again inside its own expansion).
struct PToken {
    Token tok;
    std::vector<std::string_view> hidden;
    bool hides(std::string_view name) const {
        return std::find(hidden.begin(), hidden.end(), name) != hidden.end();
    }
};

Token numberToken(long long value, const Token& at) {
    static constexpr std::string_view kZero = "0", kOne = "1", kNumber = "<number>";
    Token t;
    t.kind = TokenKind::Number;
    t.line = at.line;
    t.column = at.column;
    t.number = static_cast<double>(value);
    t.isInteger = true;
    t.text = value == 0 ? kZero : value == 1 ? kOne : kNumber;
    return t;
}

class Preprocessor {
public:
    explicit Preprocessor(const std::vector<Token>& tokens) : m_in(tokens) {
        static const Token kOneHundred = [] {
            Token t;
            t.kind = TokenKind::Number;
            t.number = 100;
            t.isInteger = true;
            t.text = "100";
            return t;
        }();
        Macro glEs;
        glEs.body.push_back(numberToken(1, Token{}));
        m_macros.emplace("GL_ES", glEs);
        Macro version;
        version.body.push_back(kOneHundred);
        m_macros.emplace("__VERSION__", version);
    }

    std::vector<Token> run() {
        std::vector<PToken> text;
        size_t i = 0;
        while (m_in[i].kind != TokenKind::End) {
            const Token& t = m_in[i];
            if (t.lineStart && t.is("#")) {
                expandInto(text, m_out);
                text.clear();
                const size_t end = lineEnd(i + 1);
                directive(t, i + 1, end);
                i = end;
                continue;
            }
            if (active()) text.push_back(PToken{t, {}});
            ++i;
        }
        expandInto(text, m_out);
        if (!m_conditionals.empty()) {
            const Token& open = m_conditionals.back().at;
            fail(open.line, open.column,
                 "'#" + std::string(m_conditionals.back().name) + "' without a matching '#endif'");
        }
        m_out.push_back(m_in[i]);
        return std::move(m_out);
    }

private:
    struct Conditional {
        Token at;
        std::string_view name;
        bool parentActive = true;
        bool taken = false;  // some branch so far was chosen
        bool active = false;
        bool seenElse = false;
    };

    bool active() const { return m_conditionals.empty() || m_conditionals.back().active; }

    size_t lineEnd(size_t i) const {
        while (m_in[i].kind != TokenKind::End && !m_in[i].lineStart)
            ++i;
        return i;
    }

    void directive(const Token& hash, size_t begin, size_t end) {
        if (begin == end) return;  // a lone '#'
        const Token& name = m_in[begin];
        const std::string_view word = name.kind == TokenKind::Identifier ? name.text : "";
        if (word == "if" || word == "ifdef" || word == "ifndef") {
            if (static_cast<int>(m_conditionals.size()) >= kMaxConditionalDepth)
                fail(name.line, name.column, "conditionals nested more than 64 deep");
            Conditional c;
            c.at = name;
            c.name = word;
            c.parentActive = active();
            bool value = false;
            if (c.parentActive) {
                if (word == "if") {
                    value = condition(name, begin + 1, end);
                } else {
                    value = isDefined(macroName(name, begin + 1, end)) == (word == "ifdef");
                }
            }
            c.active = c.parentActive && value;
            c.taken = c.active;
            m_conditionals.push_back(c);
            return;
        }
        if (word == "elif" || word == "else" || word == "endif") {
            if (m_conditionals.empty())
                fail(name.line, name.column, "'#" + std::string(word) + "' without '#if'");
            Conditional& c = m_conditionals.back();
            if (word == "endif") {
                m_conditionals.pop_back();
                return;
            }
            if (c.seenElse)
                fail(name.line, name.column, "'#" + std::string(word) + "' after '#else'");
            if (word == "else") {
                c.seenElse = true;
                c.active = c.parentActive && !c.taken;
            } else {
                c.active = c.parentActive && !c.taken && condition(name, begin + 1, end);
            }
            c.taken = c.taken || c.active;
            return;
        }
        if (!active()) return;
        if (word == "define") {
            define(name, begin + 1, end);
        } else if (word == "undef") {
            m_macros.erase(std::string(macroName(name, begin + 1, end)));
        } else if (word == "error") {
            std::string message;
            for (size_t k = begin + 1; k < end; ++k) {
                if (!message.empty()) message += ' ';
                message += m_in[k].text;
            }
            fail(hash.line, hash.column, "#error " + message);
        } else if (word == "pragma" || word == "extension" || word == "version" || word == "line") {
            return;
        } else {
            fail(name.line, name.column, "unknown directive '#" + std::string(name.text) + "'");
        }
    }

    std::string_view macroName(const Token& directiveName, size_t begin, size_t end) const {
        if (begin == end || m_in[begin].kind != TokenKind::Identifier)
            fail(directiveName.line, directiveName.column,
                 "'#" + std::string(directiveName.text) + "' needs a macro name");
        if (begin + 1 != end)
            fail(m_in[begin + 1].line, m_in[begin + 1].column,
                 "unexpected '" + std::string(m_in[begin + 1].text) + "' after the macro name");
        return m_in[begin].text;
    }

    bool isDefined(std::string_view name) const {
        return name == "__LINE__" || m_macros.count(std::string(name)) > 0;
    }

    void define(const Token& directiveName, size_t begin, size_t end) {
        if (begin == end || m_in[begin].kind != TokenKind::Identifier)
            fail(directiveName.line, directiveName.column, "'#define' needs a macro name");
        const Token& name = m_in[begin];
        if (name.text == "defined" || name.text.substr(0, 3) == "GL_" || name.text == "__LINE__" ||
            name.text == "__VERSION__")
            fail(name.line, name.column, "'" + std::string(name.text) + "' cannot be defined");
        Macro m;
        size_t k = begin + 1;
        // A '(' right after the name (no space) makes a function-like macro.
        if (k < end && m_in[k].is("(") && m_in[k].line == name.line &&
            m_in[k].column == name.column + static_cast<int>(name.text.size())) {
            m.functionLike = true;
            ++k;
            if (k < end && m_in[k].is(")")) {
                ++k;
            } else {
                for (;;) {
                    if (k >= end || m_in[k].kind != TokenKind::Identifier)
                        fail(name.line, name.column,
                             "expected a parameter name in macro '" + std::string(name.text) + "'");
                    m.params.push_back(m_in[k++].text);
                    if (k < end && m_in[k].is(",")) {
                        ++k;
                        continue;
                    }
                    if (k < end && m_in[k].is(")")) {
                        ++k;
                        break;
                    }
                    fail(name.line, name.column,
                         "expected ',' or ')' in the parameters of macro '" +
                             std::string(name.text) + "'");
                }
            }
        }
        m.body.assign(m_in.begin() + static_cast<long>(k), m_in.begin() + static_cast<long>(end));
        m_macros[std::string(name.text)] = std::move(m);
    }

    // ---- expansion ----

    void expandInto(const std::vector<PToken>& in, std::vector<Token>& out) {
        std::vector<PToken> stack(in.rbegin(), in.rend());  // back() is next
        while (!stack.empty()) {
            PToken t = std::move(stack.back());
            stack.pop_back();
            if (t.tok.kind != TokenKind::Identifier || t.hides(t.tok.text)) {
                emit(out, t.tok);
                continue;
            }
            if (t.tok.text == "__LINE__") {
                emit(out, numberToken(t.tok.line, t.tok));
                continue;
            }
            auto found = m_macros.find(std::string(t.tok.text));
            if (found == m_macros.end()) {
                emit(out, t.tok);
                continue;
            }
            const Macro& m = found->second;
            std::vector<std::vector<PToken>> args;
            if (m.functionLike) {
                if (stack.empty() || !stack.back().tok.is("(")) {
                    emit(out, t.tok);  // the name alone is not a call
                    continue;
                }
                args = collectArguments(t.tok, stack);
                if (args.size() == 1 && args[0].empty() && m.params.empty()) args.clear();
                if (args.size() != m.params.size())
                    fail(t.tok.line, t.tok.column,
                         "macro '" + std::string(t.tok.text) + "' takes " +
                             std::to_string(m.params.size()) + " arguments, not " +
                             std::to_string(args.size()));
            }
            std::vector<std::string_view> hidden = t.hidden;
            hidden.push_back(t.tok.text);
            std::vector<PToken> replacement;
            for (const Token& b : m.body) {
                const auto param = std::find(m.params.begin(), m.params.end(), b.text);
                if (b.kind == TokenKind::Identifier && param != m.params.end()) {
                    // Arguments are expanded fully before they are substituted.
                    std::vector<Token> expanded;
                    expandInto(args[static_cast<size_t>(param - m.params.begin())], expanded);
                    for (const Token& e : expanded)
                        replacement.push_back(PToken{e, hidden});
                } else {
                    Token moved = b;
                    moved.line = t.tok.line;
                    moved.column = t.tok.column;
                    moved.lineStart = false;
                    replacement.push_back(PToken{moved, hidden});
                }
                if (replacement.size() > kMaxExpandedTokens) tooLarge(t.tok);
            }
            if (stack.size() + replacement.size() > kMaxExpandedTokens) tooLarge(t.tok);
            stack.insert(stack.end(), std::make_move_iterator(replacement.rbegin()),
                         std::make_move_iterator(replacement.rend()));
            if (++m_expansions > kMaxExpandedTokens) tooLarge(t.tok);
        }
    }

    [[noreturn]] static void tooLarge(const Token& at) {
        fail(at.line, at.column, "macro expansion grows too large");
    }

    void emit(std::vector<Token>& out, Token t) {
        if (++m_emitted > kMaxExpandedTokens) tooLarge(t);
        out.push_back(t);
    }

    // Arguments of a call whose '(' is on top of the stack: split at commas
    // outside parentheses.
    static std::vector<std::vector<PToken>> collectArguments(const Token& name,
                                                             std::vector<PToken>& stack) {
        stack.pop_back();  // '('
        std::vector<std::vector<PToken>> args(1);
        int depth = 0;
        for (;;) {
            if (stack.empty())
                fail(name.line, name.column,
                     "unterminated call of macro '" + std::string(name.text) + "'");
            PToken t = std::move(stack.back());
            stack.pop_back();
            if (t.tok.is("(")) ++depth;
            if (t.tok.is(")")) {
                if (depth == 0) break;
                --depth;
            }
            if (t.tok.is(",") && depth == 0) {
                args.emplace_back();
                continue;
            }
            args.back().push_back(std::move(t));
        }
        return args;
    }

    // ---- #if expressions ----

    bool condition(const Token& directiveName, size_t begin, size_t end) {
        std::vector<PToken> line;
        for (size_t k = begin; k < end; ++k) {
            const Token& t = m_in[k];
            if (t.isWord("defined")) {
                size_t n = k + 1;
                const bool paren = n < end && m_in[n].is("(");
                if (paren) ++n;
                if (n >= end || m_in[n].kind != TokenKind::Identifier)
                    fail(t.line, t.column, "'defined' needs a macro name");
                const bool value = isDefined(m_in[n].text);
                if (paren) {
                    ++n;
                    if (n >= end || !m_in[n].is(")"))
                        fail(t.line, t.column, "expected ')' after 'defined(name'");
                }
                line.push_back(PToken{numberToken(value ? 1 : 0, t), {}});
                k = n;
                continue;
            }
            line.push_back(PToken{t, {}});
        }
        m_expr.clear();
        expandInto(line, m_expr);
        if (m_expr.empty())
            fail(directiveName.line, directiveName.column,
                 "'#" + std::string(directiveName.text) + "' needs a condition");
        m_exprPos = 0;
        m_exprDepth = 0;
        m_exprAt = directiveName;
        const long long v = ternary();
        if (m_exprPos < m_expr.size()) {
            const Token& t = m_expr[m_exprPos];
            fail(t.line, t.column, "unexpected '" + std::string(t.text) + "' in '#if'");
        }
        return v != 0;
    }

    const Token* peekExpr() const {
        return m_exprPos < m_expr.size() ? &m_expr[m_exprPos] : nullptr;
    }
    bool acceptExpr(std::string_view punct) {
        const Token* t = peekExpr();
        if (!t || !t->is(punct)) return false;
        ++m_exprPos;
        return true;
    }

    long long ternary() {
        const long long c = binary(0);
        if (!acceptExpr("?")) return c;
        const long long a = ternary();
        if (!acceptExpr(":")) fail(m_exprAt.line, m_exprAt.column, "expected ':' in '#if'");
        const long long b = ternary();
        return c ? a : b;
    }

    static int level(const Token& t) {
        if (t.kind != TokenKind::Punct) return -1;
        static constexpr std::string_view kLevels[][4] = {{"||"},
                                                          {"&&"},
                                                          {"|"},
                                                          {"^"},
                                                          {"&"},
                                                          {"==", "!="},
                                                          {"<", ">", "<=", ">="},
                                                          {"<<", ">>"},
                                                          {"+", "-"},
                                                          {"*", "/", "%"}};
        for (int l = 0; l < 10; ++l)
            for (std::string_view op : kLevels[l])
                if (!op.empty() && t.text == op) return l;
        return -1;
    }

    long long binary(int lvl) {
        if (lvl == 10) return unary();
        long long lhs = binary(lvl + 1);
        for (;;) {
            const Token* t = peekExpr();
            if (!t || level(*t) != lvl) return lhs;
            ++m_exprPos;
            const std::string_view op = t->text;
            const long long rhs = binary(lvl + 1);
            if ((op == "/" || op == "%") && rhs == 0)
                fail(t->line, t->column, "division by zero in '#if'");
            // Wrap like unsigned arithmetic instead of overflowing.
            const auto ua = static_cast<unsigned long long>(lhs);
            const auto ub = static_cast<unsigned long long>(rhs);
            if (op == "||") lhs = lhs || rhs;
            if (op == "&&") lhs = lhs && rhs;
            if (op == "|") lhs = lhs | rhs;
            if (op == "^") lhs = lhs ^ rhs;
            if (op == "&") lhs = lhs & rhs;
            if (op == "==") lhs = lhs == rhs;
            if (op == "!=") lhs = lhs != rhs;
            if (op == "<") lhs = lhs < rhs;
            if (op == ">") lhs = lhs > rhs;
            if (op == "<=") lhs = lhs <= rhs;
            if (op == ">=") lhs = lhs >= rhs;
            if (op == "<<") lhs = static_cast<long long>(ua << (ub & 63));
            if (op == ">>") lhs = lhs >> (ub & 63);
            if (op == "+") lhs = static_cast<long long>(ua + ub);
            if (op == "-") lhs = static_cast<long long>(ua - ub);
            if (op == "*") lhs = static_cast<long long>(ua * ub);
            if (op == "/") lhs = (rhs == -1) ? static_cast<long long>(0 - ua) : lhs / rhs;
            if (op == "%") lhs = (rhs == -1) ? 0 : lhs % rhs;
        }
    }

    long long unary() {
        const Token* t = peekExpr();
        if (!t) fail(m_exprAt.line, m_exprAt.column, "incomplete expression in '#if'");
        if (++m_exprDepth > kMaxNesting) fail(t->line, t->column, "'#if' nested too deep");
        long long v = 0;
        ++m_exprPos;
        if (t->is("-")) {
            v = static_cast<long long>(0 - static_cast<unsigned long long>(unary()));
        } else if (t->is("+")) {
            v = unary();
        } else if (t->is("!")) {
            v = !unary();
        } else if (t->is("~")) {
            v = ~unary();
        } else if (t->is("(")) {
            v = ternary();
            if (!acceptExpr(")")) fail(t->line, t->column, "expected ')' in '#if'");
        } else if (t->kind == TokenKind::Number) {
            if (!t->isInteger)
                fail(t->line, t->column,
                     "'#if' takes integers, not '" + std::string(t->text) + "'");
            v = t->number > 9.2e18 ? static_cast<long long>(9.2e18)
                                   : static_cast<long long>(t->number);
        } else if (t->kind == TokenKind::Identifier) {
            v = 0;  // names that are not macros count as 0
        } else {
            fail(t->line, t->column, "unexpected '" + std::string(t->text) + "' in '#if'");
        }
        --m_exprDepth;
        return v;
    }

    const std::vector<Token>& m_in;
    std::vector<Token> m_out;
    std::unordered_map<std::string, Macro> m_macros;
    std::vector<Conditional> m_conditionals;
    size_t m_expansions = 0;
    size_t m_emitted = 0;
    std::vector<Token> m_expr;
    size_t m_exprPos = 0;
    int m_exprDepth = 0;
    Token m_exprAt;
};

}  // namespace

std::vector<Token> preprocessKernel(const std::vector<Token>& tokens) {
    return Preprocessor(tokens).run();
}

}  // namespace cif::kernel
