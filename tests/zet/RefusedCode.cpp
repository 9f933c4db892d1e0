// Mistakes that must not compile. Each is marked with the word "refused"; everything else must compile.
//
// refused-code-test.py compiles this file. It is a part of no program.
#include "zet/Buffer.h"
#include "zet/Pointer.h"
#include "zet/String.h"

#include <memory>
#include <string>

namespace refused {

using zet::P;
using zet::PC;
using zet::String;

class CCounted : public virtual zet::CBase {
public:
    ~CCounted() override = default;
};

void take(CCounted*);
void takeConstant(const CCounted*);
void takeBase(zet::IBase*);
void takeText(const String&);

void usePointers(P<CCounted> p, const P<CCounted> constant, PC<CCounted> pc) {
    take(p);
    take(constant);
    takeConstant(pc);
    takeBase(p);
    if (p && !constant && p != constant && p != nullptr) {
        take(p.get());
    }
    delete p;                                                // refused
    delete constant;                                         // refused
    delete pc;                                               // refused
    static_cast<void>(p + 1);                                // refused
    static_cast<void>(1 + p);                                // refused
    static_cast<void>(p - 1);                                // refused
    static_cast<void>(p - p);                                // refused
    static_cast<void>(p[1]);                                 // refused
    static_cast<void>(constant[0]);                          // refused
    ++p;                                                     // refused
    std::unique_ptr<CCounted> u1(p);                         // refused
    std::unique_ptr<CCounted> u2{constant};                  // refused
    static_cast<void>(std::unique_ptr<const CCounted>(pc));  // refused
    std::shared_ptr<CCounted> shared(p);                     // refused
}

void useTexts(String s, const std::string& narrow) {
    takeText(narrow);
    takeText("text");
    s += narrow;
    s += L'A';
    s += 'A';
    s += 65;                   // refused
    s += 65u;                  // refused
    s += true;                 // refused
    s += 0.5;                  // refused
    takeText(nullptr);         // refused
    String null(nullptr);      // refused
    std::string copy = s;      // refused
    std::string_view view(s);  // refused
}

}  // namespace refused
