// Variables of C++ in every kind of place, for tst_dwarf_values: optimised code that runs without a library.
#ifdef __clang__
#define KEEP __attribute__((noinline))
#else
#define KEEP __attribute__((noinline, noclone))
#endif
volatile int Sink;
extern "C" KEEP int Use(int Value) {
    Sink = Value;
    return Value + Sink;
}
namespace shape {
struct Named {
    short Id;
    explicit Named(int n) : Id(static_cast<short>(n)) {}
};
class Shape {
public:
    explicit Shape(int Side) : m_Side(Side), m_Color(5) {}
    virtual int Area() const = 0;

protected:
    int m_Side;
    unsigned m_Color : 3;
};
class Square final : public Shape, public Named {
public:
    Square(int Side, int n) : Shape(Side), Named(n) {}
    KEEP int Area() const override;
    Square& Grow(int By) {
        int Before = m_Side;
        m_Side += By;
        Use(Before);
        return *this;
    }
};
} // namespace shape
template <typename T> struct Range {
    T First, Last;
    struct Iterator {
        T Value;
        T operator*() const { return Value; }
        Iterator& operator++() {
            ++Value;
            return *this;
        }
        bool operator!=(const Iterator& Other) const { return Value != Other.Value; }
    };
    Iterator begin() const { return {First}; }
    Iterator end() const { return {Last}; }
};
int shape::Square::Area() const {
    const int Product = m_Side * m_Side;
    auto Add = [this, Product](int Extra) {
        int Sum = Product + Extra + Id;
        return Use(Sum) + m_Color;
    };
    return Add(3) + Add(Product);
}
extern "C" KEEP int ByReference(int& rCount, const shape::Square& rSquare, int&& rTemp) {
    rCount += rSquare.Area();
    rTemp = Use(rCount);
    return rTemp + rCount;
}
extern "C" KEEP int Iterate(unsigned char First, int Num) {
    int Sum = 0;
    for (const unsigned char Item : Range<unsigned char>{First, static_cast<unsigned char>(First + Num)}) {
        int Twice = Item * 2;
        Sum += Use(Twice);
    }
    return Sum;
}
extern "C" KEEP int Bind(const Range<long long>& rRange) {
    auto [First, Last] = rRange;
    const bool IsOrdered = First < Last;
    const long long Middle = First + (Last - First) / 2;
    Use(IsOrdered ? static_cast<int>(Middle) : 0);
    return static_cast<int>(Last - Middle);
}
extern "C" KEEP int Virtual(shape::Shape* pShape, int (shape::Shape::*pfArea)() const) {
    int Direct = pShape->Area();
    int ByMember = (pShape->*pfArea)();
    return Use(Direct + ByMember);
}
extern "C" KEEP int Chain(shape::Square Square) {
    shape::Square& rGrown = Square.Grow(2).Grow(Use(1));
    const int Result = Use(rGrown.Id);
    return Result + rGrown.Area();
}
extern "C" void __cxa_pure_virtual() {}
extern "C" KEEP void Done() { Sink = 0; }
extern "C" KEEP int Run() {
    shape::Square Square(Use(2), 77);
    int Count = Use(5);
    int Total = ByReference(Count, Square, static_cast<int>(Sink));
    Total += Iterate(9, 3) + Bind({-4, 1LL << 40}) + Chain(Square);
    return Total + Virtual(&Square, &shape::Shape::Area);
}
extern "C" void _start() {
    Run();
    for (;;) {
        Done();
    }
}
