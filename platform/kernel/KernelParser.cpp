#include "platform/kernel/KernelParser.h"

#include <cstdio>
#include <string>
#include <utility>

#include "platform/kernel/KernelDiagnostic.h"
#include "platform/kernel/KernelLexer.h"
#include "platform/kernel/KernelPreprocessor.h"
#include "platform/kernel/KernelProgram.h"

namespace cif::kernel {
namespace {

using ast::Expr;
using ast::Stmt;
using ast::Type;
using ExprPtr = std::unique_ptr<Expr>;
using StmtPtr = std::unique_ptr<Stmt>;

const char* const kNestingMessage = "expressions and statements nested more than 64 deep";

// Words of GLSL (or C) the language does not support, with the message that
// says so; reported where they appear instead of a confusing syntax error.
struct Unsupported {
    std::string_view word;
    const char* message;
};
constexpr Unsupported kUnsupportedWords[] = {
    {"switch", "'switch' is reserved in this language; use if and else"},
    {"goto", "'goto' is not supported"},
    {"discard", "'discard' is not supported"},
    {"struct", "structs are not supported"},
    {"uniform", "'uniform' is not supported"},
    {"varying", "'varying' is not supported"},
    {"attribute", "'attribute' is not supported"},
    {"double", "'double' is not supported"},
    {"sampler2D", "'sampler2D' is not supported; use sampler"},
};

class Parser {
public:
    explicit Parser(std::string_view source) : m_tokens(preprocessKernel(tokenizeKernel(source))) {
        for (const Token& t : m_tokens)
            if (t.kind == TokenKind::Invalid) {
                char shown[16];
                const unsigned char u = static_cast<unsigned char>(t.text[0]);
                if (u >= 0x20 && u < 0x7f) {
                    std::snprintf(shown, sizeof shown, "'%c'", u);
                } else {
                    std::snprintf(shown, sizeof shown, "'\\x%02X'", u);
                }
                fail(t.line, t.column, std::string("unexpected character ") + shown);
            }
    }

    ast::Unit parseUnit() {
        ast::Unit unit;
        while (peek().kind != TokenKind::End) {
            const Token& start = peek();
            if (acceptWord("precision")) {  // GLSL ES default precision: nothing to do here
                while (!peek().is(";") && peek().kind != TokenKind::End)
                    next();
                expect(";", "after the precision statement");
                continue;
            }
            const bool isKernel = acceptWord("kernel");
            bool isConst = acceptWord("const");
            skipPrecision();
            DeclaredType declared = parseType("at global scope");
            if (!isConst && acceptWord("const")) isConst = true;
            parseTypeArraySize(declared);
            const Token& nameTok = expectIdentifier("expected a name");
            if (peek().is("(")) {
                if (declared.sizeAt)
                    fail(declared.line, declared.column, "a function cannot return an array");
                auto fn = std::make_unique<ast::Function>();
                fn->isKernel = isKernel;
                fn->returnType = declared.type;
                fn->name = std::string(nameTok.text);
                fn->line = nameTok.line;
                fn->column = nameTok.column;
                fn->globalsBefore = unit.globals.size();
                if (isConst) fail(start.line, start.column, "a function cannot be const");
                parseParams(*fn);
                // A prototype: the definition elsewhere in the source is the
                // function (every function is known before any body is checked).
                if (!isKernel && accept(";")) continue;
                for (const ast::Param& param : fn->params)
                    if (param.name.empty())
                        fail(param.line, param.column, "expected a parameter name");
                if (!peek().is("{"))
                    fail(peek().line, peek().column,
                         "expected '{' to begin the body of '" + fn->name + "'");
                fn->body = parseBlock();
                unit.functions.push_back(std::move(fn));
            } else {
                if (isKernel) fail(start.line, start.column, "'kernel' must introduce a function");
                auto decl = parseDeclaratorList(declared, isConst, nameTok, start);
                expect(";", "after declaration");
                unit.globals.push_back(std::move(decl));
            }
        }
        return unit;
    }

private:
    struct DeclaredType {
        Type type = Type::Void;
        bool isColor = false;
        bool isSample = false;
        bool isTable = false;
        int line = 1, column = 1;
        // `float[3] a, b`: the token where the size after the type begins
        // (0: none); each declarator without its own size parses it again.
        size_t sizeAt = 0;
    };

    // An array size written after the type, as in `float[3] a`.
    void parseTypeArraySize(DeclaredType& declared) {
        if (!peek().is("[")) return;
        declared.sizeAt = m_pos;
        parseArraySize();
    }

    // The size written after the type, parsed again for one declarator.
    ExprPtr typeArraySize(const DeclaredType& declared) {
        const size_t resume = m_pos;
        m_pos = declared.sizeAt;
        ExprPtr size = parseArraySize();
        m_pos = resume;
        return size;
    }

    // Counts nesting for the duration of one recursive construct.
    class Nest {
    public:
        Nest(Parser& p, const Token& at) : m_p(p) {
            if (++m_p.m_depth > kMaxNesting) fail(at.line, at.column, kNestingMessage);
        }
        ~Nest() { --m_p.m_depth; }
        Nest(const Nest&) = delete;
        Nest& operator=(const Nest&) = delete;

    private:
        Parser& m_p;
    };

    const Token& peek(size_t ahead = 0) const {
        const size_t i = m_pos + ahead;
        return i < m_tokens.size() ? m_tokens[i] : m_tokens.back();
    }
    const Token& next() {
        const Token& t = m_tokens[m_pos];
        if (m_pos + 1 < m_tokens.size()) ++m_pos;
        return t;
    }
    bool accept(std::string_view punct) {
        if (!peek().is(punct)) return false;
        next();
        return true;
    }
    bool acceptWord(std::string_view word) {
        if (!peek().isWord(word)) return false;
        next();
        return true;
    }
    const Token& expect(std::string_view punct, std::string_view context) {
        if (!peek().is(punct)) {
            fail(peek().line, peek().column,
                 "expected '" + std::string(punct) + "' " + std::string(context));
        }
        return next();
    }
    const Token& expectIdentifier(const char* message) {
        checkUnsupported(peek());
        if (peek().kind != TokenKind::Identifier || isTypeWord(peek().text) ||
            isReserved(peek().text))
            fail(peek().line, peek().column, message);
        return next();
    }

    static void checkUnsupported(const Token& t) {
        if (t.kind == TokenKind::Identifier) {
            for (const Unsupported& u : kUnsupportedWords) {
                if (t.text == u.word) fail(t.line, t.column, u.message);
            }
        }
    }
    static bool isReserved(std::string_view w) {
        return w == "kernel" || w == "const" || w == "if" || w == "else" || w == "for" ||
               w == "while" || w == "do" || w == "break" || w == "continue" || w == "return" ||
               w == "true" || w == "false" || w == "in" || w == "out" || w == "inout";
    }
    struct TypeWord {
        std::string_view word;
        Type type;
    };
    static constexpr TypeWord kTypeWords[] = {
        {"float", Type::Float},     {"vec2", Type::Vec2},    {"vec3", Type::Vec3},
        {"vec4", Type::Vec4},       {"__color", Type::Vec4}, {"__sample", Type::Vec4},
        {"bool", Type::Bool},       {"bvec2", Type::BVec2},  {"bvec3", Type::BVec3},
        {"bvec4", Type::BVec4},     {"int", Type::Int},      {"ivec2", Type::IVec2},
        {"ivec3", Type::IVec3},     {"ivec4", Type::IVec4},  {"mat2", Type::Mat2},
        {"mat3", Type::Mat3},       {"mat4", Type::Mat4},    {"sampler", Type::Sampler},
        {"__table", Type::Sampler}, {"void", Type::Void},
    };
    static bool isTypeWord(std::string_view w) {
        DeclaredType declared;
        return typeFromWord(w, declared);
    }
    static bool typeFromWord(std::string_view w, DeclaredType& declared) {
        for (const TypeWord& t : kTypeWords) {
            if (t.word == w) {
                declared.type = t.type;
                declared.isColor = w == "__color";
                declared.isSample = w == "__sample";
                declared.isTable = w == "__table";
                return true;
            }
        }
        return false;
    }

    DeclaredType parseType(const char* where) {
        const Token& t = peek();
        checkUnsupported(t);
        DeclaredType declared;
        declared.line = t.line;
        declared.column = t.column;
        if (t.kind != TokenKind::Identifier || !typeFromWord(t.text, declared)) {
            fail(t.line, t.column, std::string("expected a type ") + where);
        }
        next();
        // `__table sampler`: the qualifier written before the type.
        if (declared.isTable && peek().isWord("sampler")) next();
        return declared;
    }

    void parseParams(ast::Function& fn) {
        expect("(", "after function name");
        if (peek().isWord("void") && peek(1).is(")")) next();
        if (!accept(")")) {
            do {
                ast::Param param;
                param.isConst = acceptWord("const");
                if (acceptWord("out")) {
                    param.qualifier = ast::ParamQualifier::Out;
                } else if (acceptWord("inout")) {
                    param.qualifier = ast::ParamQualifier::InOut;
                } else {
                    acceptWord("in");
                }
                if (!param.isConst) param.isConst = acceptWord("const");
                // Precision qualifiers of GLSL ES mean nothing here.
                if (peek().isWord("lowp") || peek().isWord("mediump") || peek().isWord("highp"))
                    next();
                DeclaredType declared = parseType("for a parameter");
                if (declared.type == Type::Void)
                    fail(declared.line, declared.column, "a parameter cannot be void");
                if (peek().is("[")) param.size = parseArraySize();
                if (peek().is("[")) fail(peek().line, peek().column, "arrays cannot hold arrays");
                // Prototypes may leave parameters unnamed.
                const bool unnamed = peek().is(",") || peek().is(")");
                const Token& name =
                    unnamed ? peek() : expectIdentifier("expected a parameter name");
                if (peek().is("[") && param.size)
                    fail(peek().line, peek().column, "arrays cannot hold arrays");
                if (peek().is("[")) param.size = parseArraySize();
                param.type = declared.type;
                param.isColor = declared.isColor;
                param.isSample = declared.isSample;
                param.isTable = declared.isTable;
                param.name = unnamed ? std::string() : std::string(name.text);
                param.line = name.line;
                param.column = name.column;
                fn.params.push_back(std::move(param));
            } while (accept(","));
            expect(")", "after parameters");
        }
    }

    StmtPtr parseDeclaratorList(const DeclaredType& declared, bool isConst, const Token& firstName,
                                const Token& start) {
        auto decl = std::make_unique<Stmt>();
        decl->kind = Stmt::Kind::Decl;
        decl->line = start.line;
        decl->column = start.column;
        decl->declType = declared.type;
        decl->isColor = declared.isColor;
        decl->isConst = isConst;
        const Token* name = &firstName;
        for (;;) {
            ast::Declarator d;
            d.name = std::string(name->text);
            d.line = name->line;
            d.column = name->column;
            if (peek().is("[")) {
                if (declared.sizeAt) fail(peek().line, peek().column, "arrays cannot hold arrays");
                d.size = parseArraySize();
            } else if (declared.sizeAt) {
                d.size = typeArraySize(declared);
            }
            if (accept("=")) d.init = peek().is("{") ? parseInitialiserList() : parseAssignment();
            decl->declarators.push_back(std::move(d));
            if (!accept(",")) break;
            name = &expectIdentifier("expected a variable name");
        }
        return decl;
    }

    ExprPtr parseArraySize() {
        const Token& open = expect("[", "");
        if (peek().is("]")) fail(peek().line, peek().column, "an array needs a size");
        ExprPtr size = parseExpression();
        expect("]", "after the array size");
        (void)open;
        return size;
    }

    // { a, b, c }: the elements of an array, sized by the declaration.
    ExprPtr parseInitialiserList() {
        const Token& open = expect("{", "");
        Nest nest(*this, open);
        auto e = make(Expr::Kind::Call, open);
        e->arrayCtor = true;
        do {
            if (peek().is("}")) break;
            e->args.push_back(parseAssignment());
        } while (accept(","));
        expect("}", "after the elements");
        return e;
    }

    StmtPtr parseBlock() {
        const Token& open = expect("{", "");
        Nest nest(*this, open);
        auto block = std::make_unique<Stmt>();
        block->kind = Stmt::Kind::Block;
        block->line = open.line;
        block->column = open.column;
        while (!peek().is("}")) {
            if (peek().kind == TokenKind::End)
                fail(peek().line, peek().column, "expected '}' at end of block");
            if (StmtPtr s = parseStatement()) block->body.push_back(std::move(s));
        }
        next();
        return block;
    }

    // A statement that is the body of if/else/for: one nesting level deeper.
    StmtPtr parseNestedStatement() {
        Nest nest(*this, peek());
        StmtPtr s = parseStatement();
        if (!s) {  // an empty statement: an empty block
            s = std::make_unique<Stmt>();
            s->kind = Stmt::Kind::Block;
        }
        return s;
    }

    bool startsDeclaration() const {
        const Token& t = peek();
        if (t.isWord("const") || t.isWord("lowp") || t.isWord("mediump") || t.isWord("highp"))
            return true;
        DeclaredType declared;
        if (t.kind != TokenKind::Identifier || !typeFromWord(t.text, declared)) return false;
        // `vec4(...)` and `float[3](...)` at the start of a statement are
        // constructor expressions; `float[3] a` declares an array.
        if (!peek(1).is("[")) return !peek(1).is("(");
        for (size_t ahead = 2, depth = 1;; ++ahead) {
            const Token& u = peek(ahead);
            if (u.kind == TokenKind::End) return true;
            if (u.is("[")) ++depth;
            if (u.is("]") && --depth == 0) return !peek(ahead + 1).is("(");
        }
    }

    // Returns null for an empty statement.
    StmtPtr parseStatement() {
        const Token& t = peek();
        checkUnsupported(t);
        if (t.is(";")) {
            next();
            return nullptr;
        }
        if (t.is("{")) return parseBlock();
        auto s = std::make_unique<Stmt>();
        s->line = t.line;
        s->column = t.column;
        if (acceptWord("if")) {
            s->kind = Stmt::Kind::If;
            expect("(", "after 'if'");
            s->expr = parseExpression();
            expect(")", "after the condition");
            s->body.push_back(parseNestedStatement());
            if (acceptWord("else")) s->body.push_back(parseNestedStatement());
            return s;
        }
        if (t.isWord("else")) fail(t.line, t.column, "'else' without 'if'");
        if (acceptWord("for")) {
            s->kind = Stmt::Kind::For;
            expect("(", "after 'for'");
            if (startsDeclaration()) {
                s->body.push_back(parseDeclaration());
            } else if (!peek().is(";")) {
                auto init = std::make_unique<Stmt>();
                init->kind = Stmt::Kind::Expr;
                init->line = peek().line;
                init->column = peek().column;
                init->expr = parseExpression();
                s->body.push_back(std::move(init));
            } else {
                s->body.push_back(nullptr);
            }
            expect(";", "after the loop initialisation");
            if (!peek().is(";")) s->expr = parseExpression();
            expect(";", "after the loop condition");
            if (!peek().is(")")) s->step = parseExpression();
            expect(")", "after the loop step");
            s->body.push_back(parseNestedStatement());
            return s;
        }
        if (acceptWord("while")) {
            s->kind = Stmt::Kind::While;
            expect("(", "after 'while'");
            s->expr = parseExpression();
            expect(")", "after the condition");
            s->body.push_back(parseNestedStatement());
            return s;
        }
        if (acceptWord("do")) {
            s->kind = Stmt::Kind::DoWhile;
            s->body.push_back(parseNestedStatement());
            if (!acceptWord("while"))
                fail(peek().line, peek().column, "expected 'while' after the body of 'do'");
            expect("(", "after 'while'");
            s->expr = parseExpression();
            expect(")", "after the condition");
            expect(";", "after 'do ... while (...)'");
            return s;
        }
        if (acceptWord("break") || acceptWord("continue")) {
            s->kind = t.text == "break" ? Stmt::Kind::Break : Stmt::Kind::Continue;
            expect(";", "after '" + std::string(t.text) + "'");
            return s;
        }
        if (acceptWord("return")) {
            s->kind = Stmt::Kind::Return;
            if (!peek().is(";")) s->expr = parseExpression();
            expect(";", "after return value");
            return s;
        }
        if (startsDeclaration()) {
            StmtPtr d = parseDeclaration();
            expect(";", "after declaration");
            return d;
        }
        s->kind = Stmt::Kind::Expr;
        s->expr = parseExpression();
        expect(";", "after expression");
        return s;
    }

    void skipPrecision() {
        if (peek().isWord("lowp") || peek().isWord("mediump") || peek().isWord("highp")) next();
    }

    StmtPtr parseDeclaration() {
        const Token& start = peek();
        bool isConst = acceptWord("const");
        skipPrecision();
        DeclaredType declared = parseType("in a declaration");
        if (!isConst && acceptWord("const")) isConst = true;
        if (declared.type == Type::Void)
            fail(declared.line, declared.column, "a variable cannot be void");
        parseTypeArraySize(declared);
        const Token& name = expectIdentifier("expected a variable name");
        return parseDeclaratorList(declared, isConst, name, start);
    }

    // ---- expressions, lowest precedence first ----

    // a, b: both run in order, the value is b's (as in a loop's `i++, j++`).
    ExprPtr parseExpression() {
        ExprPtr e = parseAssignment();
        int chain = 0;
        while (peek().is(",")) {
            const Token& t = next();
            if (m_depth + ++chain > kMaxNesting) fail(t.line, t.column, kNestingMessage);
            auto sequence = make(Expr::Kind::Binary, t);
            sequence->op = ",";
            sequence->args.push_back(std::move(e));
            sequence->args.push_back(parseAssignment());
            e = std::move(sequence);
        }
        return e;
    }

    static ExprPtr make(Expr::Kind kind, const Token& at) {
        auto e = std::make_unique<Expr>();
        e->kind = kind;
        e->line = at.line;
        e->column = at.column;
        return e;
    }

    ExprPtr parseAssignment() {
        ExprPtr lhs = parseTernary();
        const Token& t = peek();
        if (t.is("=") || t.is("+=") || t.is("-=") || t.is("*=") || t.is("/=")) {
            next();
            Nest nest(*this, t);
            auto e = make(Expr::Kind::Assign, t);
            e->op = std::string(t.text);
            e->args.push_back(std::move(lhs));
            e->args.push_back(parseAssignment());
            return e;
        }
        if (t.is("%=") || t.is("&=") || t.is("|=") || t.is("^=") || t.is("<<") || t.is(">>"))
            fail(t.line, t.column,
                 "operator '" + std::string(t.text) +
                     (t.is("%=") ? "' is reserved in this language; use x = mod(x, y)"
                                 : "' is reserved in this language"));
        return lhs;
    }

    ExprPtr parseTernary() {
        ExprPtr cond = parseBinary(0);
        if (!peek().is("?")) return cond;
        const Token& q = next();
        Nest nest(*this, q);
        auto e = make(Expr::Kind::Ternary, q);
        e->args.push_back(std::move(cond));
        e->args.push_back(parseAssignment());
        expect(":", "in a conditional expression");
        e->args.push_back(parseAssignment());
        return e;
    }

    // Binary operators by precedence level, loosest first; all associate left.
    static int levelOf(const Token& t) {
        if (t.kind != TokenKind::Punct) return -1;
        const std::string_view s = t.text;
        if (s == "||") return 0;
        if (s == "^^") return 1;
        if (s == "&&") return 2;
        if (s == "==" || s == "!=") return 3;
        if (s == "<" || s == ">" || s == "<=" || s == ">=") return 4;
        if (s == "+" || s == "-") return 5;
        if (s == "*" || s == "/") return 6;
        return -1;
    }
    static constexpr int kLevels = 7;

    ExprPtr parseBinary(int level) {
        if (level == kLevels) return parseUnary();
        ExprPtr lhs = parseBinary(level + 1);
        // A chain a+b+c+... builds a tree as deep as it is long: count it.
        int chain = 0;
        for (;;) {
            const Token& t = peek();
            if (t.is("%") || t.is("&") || t.is("|") || t.is("^"))
                fail(t.line, t.column,
                     "operator '" + std::string(t.text) +
                         (t.is("%") ? "' is reserved in this language; use mod(x, y)"
                                    : "' is reserved in this language"));
            if (levelOf(t) != level) return lhs;
            next();
            if (m_depth + ++chain > kMaxNesting) fail(t.line, t.column, kNestingMessage);
            auto e = make(Expr::Kind::Binary, t);
            e->op = std::string(t.text);
            e->args.push_back(std::move(lhs));
            {
                Nest nest(*this, t);
                e->args.push_back(parseBinary(level + 1));
            }
            lhs = std::move(e);
        }
    }

    ExprPtr parseUnary() {
        const Token& t = peek();
        if (t.is("-") || t.is("+") || t.is("!")) {
            next();
            Nest nest(*this, t);
            auto e = make(Expr::Kind::Unary, t);
            e->op = std::string(t.text);
            e->args.push_back(parseUnary());
            return e;
        }
        if (t.is("++") || t.is("--")) {
            next();
            Nest nest(*this, t);
            auto e = make(Expr::Kind::IncDec, t);
            e->op = std::string(t.text);
            e->prefix = true;
            e->args.push_back(parseUnary());
            return e;
        }
        if (t.is("~")) fail(t.line, t.column, "operator '~' is not supported");
        return parsePostfix();
    }

    ExprPtr parsePostfix() {
        ExprPtr e = parsePrimary();
        int chain = 0;
        for (;;) {
            const Token& t = peek();
            if (t.is(".") || t.is("++") || t.is("--")) {
                if (m_depth + ++chain > kMaxNesting) fail(t.line, t.column, kNestingMessage);
            }
            if (accept(".")) {
                const Token& field = peek();
                if (field.kind != TokenKind::Identifier)
                    fail(field.line, field.column, "expected a swizzle after '.'");
                next();
                auto s = make(Expr::Kind::Swizzle, field);
                s->name = std::string(field.text);
                s->args.push_back(std::move(e));
                e = std::move(s);
            } else if (t.is("++") || t.is("--")) {
                next();
                auto s = make(Expr::Kind::IncDec, t);
                s->op = std::string(t.text);
                s->args.push_back(std::move(e));
                e = std::move(s);
            } else if (t.is("[")) {
                next();
                auto s = make(Expr::Kind::Index, t);
                s->args.push_back(std::move(e));
                {
                    Nest nest(*this, t);
                    s->args.push_back(parseExpression());
                }
                expect("]", "after the index");
                e = std::move(s);
            } else {
                return e;
            }
        }
    }

    ExprPtr parsePrimary() {
        const Token& t = peek();
        checkUnsupported(t);
        if (t.kind == TokenKind::Number) {
            next();
            auto e = make(Expr::Kind::Number, t);
            e->number = t.number;
            e->integer = t.isInteger;
            return e;
        }
        if (t.isWord("true") || t.isWord("false")) {
            next();
            auto e = make(Expr::Kind::Bool, t);
            e->boolValue = t.text == "true";
            return e;
        }
        if (t.is("(")) {
            next();
            Nest nest(*this, t);
            ExprPtr e = parseExpression();
            expect(")", "to close '('");
            return e;
        }
        if (t.kind == TokenKind::Identifier && !isReserved(t.text)) {
            next();
            DeclaredType declared;
            const bool isType = typeFromWord(t.text, declared);
            ExprPtr arraySize;
            bool arrayCtor = false;
            if (isType && peek().is("[")) {  // float[3](...) or float[](...)
                next();
                arrayCtor = true;
                if (!peek().is("]")) arraySize = parseExpression();
                expect("]", "after the array size");
            }
            if (isType && !peek().is("("))
                fail(t.line, t.column,
                     "expected '(' after type name '" + std::string(t.text) + "'");
            if (peek().is("(")) {
                const Token& open = next();
                Nest nest(*this, open);
                auto e = make(Expr::Kind::Call, t);
                e->name = std::string(t.text);
                e->arrayCtor = arrayCtor;
                e->arraySizeExpr = std::move(arraySize);
                if (!accept(")")) {
                    do {
                        e->args.push_back(parseAssignment());
                    } while (accept(","));
                    expect(")", "after arguments");
                }
                return e;
            }
            auto e = make(Expr::Kind::Name, t);
            e->name = std::string(t.text);
            return e;
        }
        if (t.kind == TokenKind::End) fail(t.line, t.column, "unexpected end of source");
        fail(t.line, t.column, "expected an expression");
    }

    std::vector<Token> m_tokens;
    size_t m_pos = 0;
    int m_depth = 0;
};

}  // namespace

ast::Unit parseKernelSource(std::string_view source) {
    return Parser(source).parseUnit();
}

}  // namespace cif::kernel
