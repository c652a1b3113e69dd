/* Variables in every kind of place, for tst_dwarf_values: optimised code that runs without a library. */
typedef unsigned int u32;
struct PAIR {
    int First;
    int Second;
};
struct MIXED {
    signed char Small;
    unsigned short Medium;
    u32 Low : 5;
    u32 High : 11;
    long long Wide;
};
union WORD {
    u32 Whole;
    unsigned char aByte[4];
};
enum MODE { MODE_OFF, MODE_ON = 7 };
volatile int Sink;
volatile long long WideSink;
volatile float FloatSink;
int aTable[8] = {5, 3, 8, 1, 9, 2, 7, 4};
static struct PAIR Stored = {11, 22};
static int (*volatile pfIndirect)(int, int);

#ifdef __clang__
#define KEEP __attribute__((noinline))
#else
#define KEEP __attribute__((noinline, noclone))
#endif

KEEP int Use(int Value) {
    Sink = Value;
    return Value + Sink;
}

static inline int Blend(int Left, int Right) {
    int Half = (Left + Right) / 2;
    const int Bias = 3;
    Sink = Half;
    return Half * Left + Bias;
}

KEEP int Split(struct PAIR Pair, int Scale) { /* pieces: the members live in registers of their own */
    struct PAIR Local = {Pair.First + Scale, Pair.Second - Scale};
    int Sum = Use(Local.First);
    Sum += Use(Local.Second + Pair.First);
    Sum += Blend(Local.First, Scale);
    return Sum + Local.Second;
}

KEEP long long Widen(long long Value, int Shift, unsigned long long Mask) {
    long long Moved = Value << Shift;
    unsigned long long Kept = (unsigned long long)Moved & Mask;
    Use((int)Moved);
    WideSink = (long long)Kept;
    return Moved + (long long)Kept;
}

KEEP int Lost(int Argument, int Other) { /* both are overwritten: only the caller knows them */
    int Early = Argument * 3;
    Use(Early);
    int Late = Use(Other + 1);
    Use(Late);
    return Late;
}

KEEP int Loop(const int *pData, int Num) {
    int Best = 0;
    for (int i = 0; i < Num; ++i) {
        int Doubled = pData[i] * 2;
        if (Doubled > Best) {
            Best = Doubled;
        }
        Sink = i * 12;
    }
    return Best;
}

static inline int SumOf(const struct PAIR *pPair) { return pPair->First + pPair->Second; }

KEEP int Pointed(int Seed) { /* the pointer of the expansion points to what isn't in memory */
    struct PAIR Pair = {Seed, Seed + 1};
    int Sum = SumOf(&Pair);
    Use(Sum);
    return SumOf(&Pair) + Pair.Second;
}

KEEP float Floats(float Factor, double Base) {
    float Scaled = Factor * 2.5f;
    double Sum = Base + (double)Scaled;
    Use((int)Sum);
    FloatSink = Scaled;
    return (float)Sum;
}

KEEP int Bits(struct MIXED Mixed, enum MODE Mode) {
    struct MIXED Copy = Mixed;
    Copy.Low += 1;
    Copy.High = (u32)Mode;
    union WORD Word;
    Word.Whole = Copy.Low << 8;
    Use(Copy.High);
    WideSink = Copy.Wide + Word.aByte[1];
    return Copy.Small + Copy.Medium;
}

KEEP int Many(int a, int b, int c, int d, int e, int f) { /* e and f come on the stack */
    int Result = Use(a + f);
    Result += Use(b * e);
    Result += Use(c - d);
    return Result;
}

KEEP int Sized(int Num) {
    int aLocal[Num];
    for (int i = 0; i < Num; ++i) {
        aLocal[i] = Use(i);
    }
    return aLocal[Num - 1];
}

KEEP int Tail(int Value, int Extra) { return Lost(Value + 1, Extra); }

KEEP int Recurse(int Depth, int Sum) {
    static int Deepest;
    int Next = Sum + Depth;
    Deepest = Depth > Deepest ? Depth : Deepest;
    return Depth > 0 ? Recurse(Depth - 1, Next) + Next : Use(Next);
}

KEEP int Blocks(int Kind) {
    int Result = Kind;
    {
        int Inner = Use(Kind + 1);
        Result += Inner;
    }
    {
        int Other = Use(Kind + 2);
        int Unused = Other * 4;
        Result ^= Other;
    }
    return Use(Result);
}

int main(void) {
    struct PAIR Pair = Stored;
    struct MIXED Mixed = {-3, 500, 9, 100, 0x123456789LL};
    int Total = Split(Pair, 4);
    Total += (int)Widen(0x1122334455LL, 3, 0xFFFF0000FFFFULL);
    Total += Lost(Total, 17) + Tail(5, Total);
    Total += Loop(aTable, 8) + Pointed(Total);
    Total += (int)Floats(1.5f, 2.25);
    Total += Bits(Mixed, MODE_ON);
    Total += Many(1, 2, 3, Total, 5, 6);
    Total += Sized(3) + Recurse(2, Total) + Blocks(Total);
    pfIndirect = Lost;
    Total += pfIndirect(Total, 2);
    Sink = Total;
    return Total;
}

KEEP void Done(void) { Sink = 0; }

void _start(void) {
    main();
    for (;;) {
        Done();
    }
}
