#include "Parser.h"

#include "Diagnostics.h"
#include "Lexer.h"

namespace vemc {

namespace {

class Parser {
 public:
  Parser(const std::string& file, std::vector<Token> tokens) : file_(file), tokens_(std::move(tokens)) {}

  ModuleDecl module() {
    ModuleDecl m;
    m.file = file_;
    module_ = &m;
    expectWord("module");
    m.name = identifier("a module name");
    if (m.name.find("::") != std::string::npos) fail("a module name is a plain identifier");
    if (acceptWord("tag")) {
      const Token& t = expectKind(Token::Kind::integer, "a tag number");
      if (t.integer == 0 || t.integer > 0xffffffffu) fail("a module tag is a non-zero 32-bit number");
      m.tag = static_cast<uint32_t>(t.integer);
      m.tagGiven = true;
    }
    expectPunct(";");
    while (acceptWord("import")) {
      m.imports.push_back(identifier("a module name"));
      expectPunct(";");
    }
    declarations(m, "", /*nested=*/false);
    return m;
  }

 private:
  void declarations(ModuleDecl& m, const std::string& ns, bool nested) {
    for (;;) {
      const Token& t = peek();
      if (t.kind == Token::Kind::end) {
        if (nested) fail("missing '}' closing namespace " + ns);
        return;
      }
      if (nested && isPunct("}")) {
        advance();
        return;
      }
      if (acceptWord("namespace")) {
        std::string inner = identifier("a namespace name");
        expectPunct("{");
        declarations(m, ns.empty() ? inner : ns + "::" + inner, true);
      } else if (acceptWord("enum")) {
        m.types.push_back(enumeration(ns));
      } else if (acceptWord("value")) {
        m.types.push_back(valueType(ns));
      } else if (acceptWord("entity")) {
        m.types.push_back(entityType(ns));
      } else if (acceptWord("platform")) {
        m.types.push_back(platformValue(ns));
      } else if (t.kind == Token::Kind::identifier && t.text == "import") {
        fail("imports come right after the module line");
      } else {
        fail("expected a declaration (namespace, enum, value, entity, platform), found " + describe(t));
      }
    }
  }

  TypeDecl newType(TypeDecl::Kind kind, const std::string& ns, const TypeDecl* enclosing = nullptr) {
    TypeDecl d;
    d.kind = kind;
    d.line = peek().line;
    d.nameSpace = ns;
    if (enclosing != nullptr) {
      d.cppNamespace = enclosing->cppNamespace;
      d.classPath = enclosing->classPath + "::";
    } else {
      d.cppNamespace = ns;
    }
    d.name = identifier("a type name");
    if (d.name.find("::") != std::string::npos) fail("declare nested types inside a namespace block");
    if (ns.empty()) fail("type " + d.name + " must be declared inside a namespace");
    d.classPath += d.name;
    return d;
  }

  TypeDecl enumeration(const std::string& ns, const TypeDecl* enclosing = nullptr) {
    TypeDecl d = newType(TypeDecl::Kind::enumeration, ns, enclosing);
    if (acceptPunct(":")) {
      d.holdingType = identifier("U8 or U32");
      if (d.holdingType != "U8" && d.holdingType != "U32") fail("an enumeration is held in U8 or U32");
    }
    expectPunct("{");
    uint64_t next = 0;
    while (!acceptPunct("}")) {
      Member e;
      e.kind = Member::Kind::enumerator;
      e.line = peek().line;
      e.name = identifier("an enumerator name");
      if (acceptPunct("=")) next = expectKind(Token::Kind::integer, "an enumerator code").integer;
      e.enumValue = static_cast<uint32_t>(next);
      if (next > 0xffffffffu) fail("enumerator code does not fit 32 bits");
      ++next;
      d.members.push_back(std::move(e));
      if (!acceptPunct(",")) {
        expectPunct("}");
        break;
      }
    }
    return d;
  }

  // `platform value T in "header";` or `platform entity T in "header";`: a class written by hand.
  TypeDecl platformValue(const std::string& ns) {
    TypeDecl::Kind kind = TypeDecl::Kind::platformValue;
    if (acceptWord("entity")) kind = TypeDecl::Kind::platformEntity;
    else expectWord("value");
    TypeDecl d = newType(kind, ns);
    expectWord("in");
    d.header = expectKind(Token::Kind::string, "the header that defines the class").text;
    expectPunct(";");
    return d;
  }

  TypeDecl valueType(const std::string& ns, const TypeDecl* enclosing = nullptr) {
    TypeDecl d = newType(TypeDecl::Kind::value, ns, enclosing);
    if (acceptPunct(":")) d.baseName = identifier("a base type");
    expectPunct("{");
    while (!acceptPunct("}")) {
      if (peek().kind == Token::Kind::end) fail("missing '}' closing value " + d.name);
      valueMember(d);
    }
    return d;
  }

  TypeDecl entityType(const std::string& ns) {
    TypeDecl d = newType(TypeDecl::Kind::entity, ns);
    if (acceptPunct(":")) d.baseName = identifier("a base entity type");
    if (acceptWord("factory")) d.factory = true;
    expectPunct("{");
    while (!acceptPunct("}")) {
      if (peek().kind == Token::Kind::end) fail("missing '}' closing entity " + d.name);
      entityMember(d);
    }
    return d;
  }

  void entityMember(TypeDecl& d) {
    if (peek().kind == Token::Kind::identifier &&
        (peek().text == "method" || peek().text == "static" || peek().text == "computed" || peek().text == "const")) {
      valueMember(d);  // operations are declared as in value types
      return;
    }
    Member m;
    m.line = peek().line;
    std::string word = identifier("an attribute kind (key, attr, collection, ordered, set, children, child, refs, view)");
    if (word == "key") m.kind = Member::Kind::key;
    else if (word == "attr") m.kind = Member::Kind::attr;
    else if (word == "collection") m.kind = Member::Kind::collection;
    else if (word == "ordered") m.kind = Member::Kind::ordered;
    else if (word == "set") m.kind = Member::Kind::set;
    else if (word == "children") m.kind = Member::Kind::children;
    else if (word == "child") m.kind = Member::Kind::child;
    else if (word == "refs") m.kind = Member::Kind::refs;
    else if (word == "view") m.kind = Member::Kind::view;
    else fail("unknown attribute kind '" + word + "'");
    m.name = identifier("an attribute name");
    if (m.name.find("::") != std::string::npos) fail("an attribute name is a plain identifier");
    expectPunct(":");
    std::string first = identifier("a type");
    if (m.kind == Member::Kind::collection && acceptWord("by")) {
      // The values carry their own key in one of their fields.
      m.typeName = first;
      m.keyField = identifier("the value's key field");
    } else if (m.kind == Member::Kind::collection || m.kind == Member::Kind::ordered || m.kind == Member::Kind::view) {
      m.keyTypeName = first;
      expectPunct("->");
      m.typeName = identifier("the value type");
      if (m.kind == Member::Kind::view) {
        expectWord("over");
        m.viewOf = identifier("the attribute the view is derived from");
      }
    } else if (m.kind == Member::Kind::set) {
      m.keyTypeName = first;
      m.typeName = "bool";
    } else {
      m.typeName = first;
    }
    if (m.kind == Member::Kind::attr && acceptPunct("=")) m.defaultValue = literal();
    while (!acceptPunct(";")) {
      std::string option = identifier("an option (ctor, counter, silent, unlogged, nosetter, keyform, backup) or ';'");
      if (option == "counter" && m.kind == Member::Kind::attr) m.counter = true;
      else if (option == "ctor" && m.kind == Member::Kind::attr) m.ctorParam2 = true;
      else if (option == "silent") m.silent = true;
      else if (option == "unlogged") m.unlogged = true;
      else if (option == "nosetter" && m.kind == Member::Kind::attr) m.noSetter = true;
      else if (option == "keyform" && m.isCollection()) m.keyForm = identifier("a key form");
      else if (option == "backup" && m.kind == Member::Kind::collection) m.backup = true;
      else fail("option '" + option + "' does not apply to " + word + " " + m.name);
    }
    d.members.push_back(std::move(m));
  }

  void valueMember(TypeDecl& d) {
    int line = peek().line;
    std::string word = identifier("a member kind (field, mutable, computed, method, static, const, input, ctor, check)");
    if (word == "ctor") {
      if (d.ctorClause) fail("a type has one ctor clause");
      d.ctorClause.emplace();
      expectPunct("(");
      if (!acceptPunct(")")) {
        do {
          CtorParam p;
          p.line = peek().line;
          p.field = identifier("a member name");
          p.name = acceptWord("as") ? identifier("a parameter name") : p.field;
          if (acceptPunct("=")) p.defaultValue = literal();
          d.ctorClause->push_back(std::move(p));
        } while (acceptPunct(","));
        expectPunct(")");
      }
      expectPunct(";");
      return;
    }
    if ((word == "value" || word == "enum") && d.kind == TypeDecl::Kind::value) {
      // A type nested in this one (Orv::ParityEvent::Key): numbered before its enclosing type, which
      // is added once its body is read.
      const std::string inner = d.qualifiedName();
      module_->types.push_back(word == "value" ? valueType(inner, &d) : enumeration(inner, &d));
      return;
    }
    if (word == "order" && acceptWord("none")) {
      expectPunct(";");
      d.unordered = true;
      return;
    }
    if (word == "stream") {
      expectWord("stringValue");
      expectPunct(";");
      if (d.streamsStringValue) fail("'stream stringValue' is given twice");
      d.streamsStringValue = true;
      return;
    }
    if (word == "text" || word == "order" || word == "hash") {
      expectWord("handwritten");
      expectPunct(";");
      bool& flag = word == "text" ? d.handwrittenText : word == "order" ? d.handwrittenOrder : d.handwrittenHash;
      if (flag) fail("'" + word + " handwritten' is given twice");
      flag = true;
      return;
    }
    if (word == "message") {
      expectWord("handwritten");
      expectPunct(";");
      d.pbMessage = true;
      return;
    }
    if (word == "unhashable") {
      expectPunct(";");
      d.unhashable = true;
      return;
    }
    if (word == "check") {
      Check c;
      c.line = line;
      c.field = identifier("a field name");
      const Token& op = peek();
      if (op.kind != Token::Kind::punct || (op.text != "<=" && op.text != "<" && op.text != ">=" && op.text != ">" &&
                                            op.text != "==" && op.text != "!="))
        fail("expected a comparison (<=, <, >=, >, ==, !=), found " + describe(op));
      c.op = op.text;
      advance();
      if (peek().kind == Token::Kind::integer) {
        c.bound = peek().text;
        advance();
      } else {
        c.bound = identifier("a field name or a number");
        c.boundIsField = true;
      }
      expectPunct(";");
      d.checks.push_back(std::move(c));
      return;
    }
    Member m;
    m.line = line;
    if (word == "field") m.kind = Member::Kind::field;
    else if (word == "mutable") m.kind = Member::Kind::mutableField;
    else if (word == "computed") m.kind = Member::Kind::computed;
    else if (word == "method") m.kind = Member::Kind::method;
    else if (word == "static") m.kind = Member::Kind::staticMethod;
    else if (word == "const") m.kind = Member::Kind::constant;
    else if (word == "input") m.kind = Member::Kind::input;
    else if (word == "collection") m.kind = Member::Kind::valueCollection;
    else if (word == "set") {
      m.kind = Member::Kind::valueCollection;
      m.keysOnly = true;
    }
    else fail("unknown member kind '" + word + "'");
    m.name = identifier("a member name");
    if (m.name.find("::") != std::string::npos) fail("a member name is a plain identifier");
    if (m.kind == Member::Kind::method || m.kind == Member::Kind::staticMethod) {
      expectPunct("(");
      if (!acceptPunct(")")) {
        do {
          Param p;
          p.line = peek().line;
          p.name = identifier("a parameter name");
          expectPunct(":");
          p.typeName = identifier("a type");
          m.params.push_back(std::move(p));
        } while (acceptPunct(","));
        expectPunct(")");
      }
    }
    expectPunct(":");
    m.typeName = identifier("a type");
    if (m.kind == Member::Kind::computed && acceptWord("settable")) m.settable = true;
    if (m.kind == Member::Kind::valueCollection) {
      m.keyTypeName = m.typeName;
      if (m.keysOnly) {
        m.typeName = "bool";
      } else {
        expectPunct("->");
        m.typeName = identifier("the value type");
      }
    }
    if (acceptPunct("=")) {
      if (m.kind == Member::Kind::valueCollection) fail("a collection starts empty and takes no default");
      if (acceptWord("mix")) {
        if (m.kind != Member::Kind::computed && m.kind != Member::Kind::method)
          fail("only a computed member or a method can have a mix() body");
        expectPunct("(");
        do {
          MixItem item;
          item.line = peek().line;
          std::string how = identifier("raw, hash or single");
          if (how == "raw") item.how = MixItem::How::raw;
          else if (how == "hash") item.how = MixItem::How::hash;
          else if (how == "single") item.how = MixItem::How::single;
          else fail("a mix() ingredient is 'raw', 'hash' or 'single' followed by a field, not '" + how + "'");
          item.field = identifier("a field name");
          m.mix.push_back(std::move(item));
        } while (acceptPunct(","));
        expectPunct(")");
      } else {
        if (m.kind != Member::Kind::field && m.kind != Member::Kind::mutableField && m.kind != Member::Kind::constant)
          fail("only fields and constants take a default value");
        m.defaultValue = literal();
      }
    }
    if (m.kind == Member::Kind::constant && !m.defaultValue) fail("constant " + m.name + " needs a value");
    expectPunct(";");
    d.members.push_back(std::move(m));
  }

  Literal literal() {
    Literal l;
    const Token& t = peek();
    l.line = t.line;
    if (acceptPunct("-")) {
      l.negative = true;
      if (peek().kind != Token::Kind::integer) fail("expected a number after '-'");
    }
    const Token& v = peek();
    if (v.kind == Token::Kind::integer) {
      l.kind = Literal::Kind::integer;
      l.integer = v.integer;
      l.text = v.text;
    } else if (v.kind == Token::Kind::string) {
      l.kind = Literal::Kind::string;
      l.text = v.text;
    } else if (v.kind == Token::Kind::identifier && (v.text == "true" || v.text == "false")) {
      l.kind = Literal::Kind::boolean;
      l.integer = v.text == "true";
      l.text = v.text;
    } else if (v.kind == Token::Kind::identifier) {
      l.kind = Literal::Kind::identifier;
      l.text = v.text;
    } else {
      fail("expected a value, found " + describe(v));
    }
    advance();
    return l;
  }

  // Token helpers.
  const Token& peek() const { return tokens_[pos_]; }
  void advance() {
    if (tokens_[pos_].kind != Token::Kind::end) ++pos_;
  }
  bool isPunct(const char* p) const { return peek().kind == Token::Kind::punct && peek().text == p; }
  bool acceptPunct(const char* p) {
    if (!isPunct(p)) return false;
    advance();
    return true;
  }
  void expectPunct(const char* p) {
    if (!acceptPunct(p)) fail(std::string("expected '") + p + "', found " + describe(peek()));
  }
  bool acceptWord(const char* w) {
    if (peek().kind != Token::Kind::identifier || peek().text != w) return false;
    advance();
    return true;
  }
  void expectWord(const char* w) {
    if (!acceptWord(w)) fail(std::string("expected '") + w + "', found " + describe(peek()));
  }
  std::string identifier(const std::string& what) {
    if (peek().kind != Token::Kind::identifier) fail("expected " + what + ", found " + describe(peek()));
    std::string s = peek().text;
    advance();
    return s;
  }
  const Token& expectKind(Token::Kind k, const std::string& what) {
    if (peek().kind != k) fail("expected " + what + ", found " + describe(peek()));
    const Token& t = peek();
    advance();
    return t;
  }
  static std::string describe(const Token& t) {
    switch (t.kind) {
      case Token::Kind::end: return "the end of the file";
      case Token::Kind::string: return "a string";
      case Token::Kind::integer: return "'" + t.text + "'";
      default: return "'" + t.text + "'";
    }
  }
  [[noreturn]] void fail(const std::string& message) const { throw CompileError(file_, peek().line, message); }

  std::string file_;
  std::vector<Token> tokens_;
  std::size_t pos_ = 0;
  ModuleDecl* module_ = nullptr;
};

}  // namespace

ModuleDecl parseModule(const std::string& file, const std::string& text) {
  return Parser(file, tokenize(file, text)).module();
}

}  // namespace vemc
