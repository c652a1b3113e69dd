// C++ of every kind that the symbol store has to know, for tst_dwarf. It is compiled, never run.
namespace geo {
enum class Axis : unsigned char { X, Y = 4 };
struct Base {
    int Id = 0;
    virtual int Area() const;
    virtual ~Base();
};
template <typename T, int N> struct Array {
    T aItem[N];
    T& At(int i) { return aItem[i]; }
};
namespace detail {
int Hidden = 3;
inline int Scale(int Value) { return Value * Hidden; }
} // namespace detail
class Square : public Base {
public:
    explicit Square(int Side) : m_Side(Side), m_IsOpen(0), m_Kind(0) { ++Count; }
    int Area() const override;
    static int Count;
    static int Make(int Side);

protected:
    Axis m_Axis = Axis::X;

private:
    int m_Side;
    unsigned m_IsOpen : 1;
    unsigned m_Kind : 7;
};
int Square::Count = 0;
int Base::Area() const { return Id; }
Base::~Base() { Id = -1; }
int Square::Area() const { return detail::Scale(m_Side * m_Side); }
int Square::Make(int Side) {
    Square Local(Side);
    return Local.Area();
}
struct Both : Base, Array<int, 3> {
    Base& rOther;
    int Base::*pMember;
    explicit Both(Base& r) : rOther(r), pMember(&Base::Id) {}
};
} // namespace geo
void operator delete(void*, unsigned) {}
void operator delete(void*) {}
void* operator new(unsigned, void* p) { return p; }
extern "C" void __cxa_pure_virtual() {}
extern "C" int atexit(void (*)()) { return 0; }
namespace {
int Secret = 7;
struct Local {
    geo::Array<short, 5> Items;
};
Local Locals;
} // namespace
namespace outer {
inline namespace v1 {
template <typename T, typename U = T*> struct Pair {
    T First;
    U Second;
    template <typename V> V Cast() const { return static_cast<V>(First); }
};
} // namespace v1
class Node {
public:
    enum Kind { LEAF, INNER = -2 };
    struct Link {
        Node* pTo;
        Kind How;
    };
    static constexpr int LIMIT = 7;
    virtual int Visit(Kind How = LEAF) const;
    bool operator==(const Node& Other) const { return m_Kind == Other.m_Kind; }

protected:
    Link m_aLink[2];
    Kind m_Kind = LEAF;
    union {
        bool m_IsOpen : 1;
        char16_t m_Letter;
    };
};
int Node::Visit(Kind How) const { return How == m_Kind ? LIMIT : 0; }
struct Virtual : virtual Node {
    int Own;
};
struct Diamond : Virtual, private Pair<int> {
    Pair<Pair<char, const char*>, Node::Link> Nested;
};
} // namespace outer
outer::Diamond TheDiamond;
outer::Pair<const volatile unsigned char*, int (&)[3]>* pPair;
int (outer::Node::*pfVisit)(outer::Node::Kind) const = &outer::Node::Visit;
const outer::Node::Link& rLink = *new (&TheDiamond) outer::Node::Link();
auto TheLambda = [Captured = 5L](int Value) { return Value + Captured; };
geo::Square TheSquare(3);
geo::Array<geo::Axis, 4> Axes;
int&& Steal(int&& Value) { return static_cast<int&&>(Value); }
int main() __asm__("main"); // without a library it is a function like any other
int main() {
    geo::Both Both(TheSquare);
    Locals.Items.At(1) = static_cast<short>(Secret);
    int Result = geo::Square::Make(Both.rOther.Area());
    Result += static_cast<int>(TheLambda(Result)) + TheDiamond.Nested.First.Cast<int>() + (TheDiamond == TheDiamond);
    return Steal(static_cast<int&&>(Result)) + Locals.Items.At(2) + static_cast<int>(Axes.At(1));
}
