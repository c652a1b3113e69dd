// C++ of every kind that the symbol store has to know, for tst_dwarf. It is compiled, never run.
namespace geo {
enum class Axis : unsigned char { X, Y = 4 };
struct Base {
    int Id = 0;
    virtual int Area() const;
    virtual ~Base();
};
template <typename T, int N>
struct Array {
    T aItem[N];
    T &At(int i) { return aItem[i]; }
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
    Base &rOther;
    int Base::*pMember;
    explicit Both(Base &r) : rOther(r), pMember(&Base::Id) {}
};
} // namespace geo
void operator delete(void *, unsigned) {}
extern "C" void __cxa_pure_virtual() {}
namespace {
int Secret = 7;
struct Local {
    geo::Array<short, 5> Items;
};
Local Locals;
} // namespace
geo::Square TheSquare(3);
geo::Array<geo::Axis, 4> Axes;
int &&Steal(int &&Value) { return static_cast<int &&>(Value); }
int main() {
    geo::Both Both(TheSquare);
    Locals.Items.At(1) = static_cast<short>(Secret);
    int Result = geo::Square::Make(Both.rOther.Area());
    return Steal(static_cast<int &&>(Result)) + Locals.Items.At(2) + static_cast<int>(Axes.At(1));
}
