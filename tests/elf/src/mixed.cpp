// Member functions, templates and destructors for the comparisons with the binary tools.
extern "C" {
volatile int Sink;
int _start();
}

namespace Shapes {

template <typename T> T Largest(const T* pItems, int Num) {
    T Best = pItems[0];
    for (int i = 1; i < Num; ++i) {
        Best = pItems[i] > Best ? pItems[i] : Best;
    }
    return Best;
}

class CBox {
public:
    explicit CBox(int Side) : m_Side(Side) {}
    ~CBox() { Sink = Sink + m_Side; }
    int Area() const { return m_Side * m_Side; }
    __attribute__((noinline)) int Grow(int By);

private:
    int m_Side;
};

int CBox::Grow(int By) {
    m_Side += By;
    return Area();
}

template <typename T> __attribute__((noinline)) T Twice(T Side) {
    return CBox(Side).Area() * 2; // each unit that uses it has a copy, of which the linker keeps one
}

struct COUNTER {
    COUNTER() : Value(Sink * 3) {}
    int Value;
} Counter; // its constructor is expanded in a function that the compiler makes up

} // namespace Shapes

int _start() {
    const int aItems[] = {3, 1, 4, 1, 5};
    const short aShort[] = {9, 2, 6};
    Shapes::CBox Box(Shapes::Largest(aItems, 5));
    return Box.Grow(Shapes::Twice<int>(Shapes::Largest(aShort, 3)));
}
