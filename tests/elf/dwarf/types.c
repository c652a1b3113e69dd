/* C of every kind that the symbol store has to know, for tst_dwarf. It is compiled, never run. */
typedef unsigned int u32;
typedef unsigned char u8;
typedef int (*CALLBACK)(int Value, char Kind);
enum COLOR { RED, GREEN = 5, BLUE };
struct POINT {
    short x, y;
};
struct FLAGS {
    u32 Ready : 1;
    u32 Mode : 3;
    int Level : 12;
    u32 Rest : 20;
    u8 Tail : 4;
};
union WORD {
    u32 Whole;
    u8 aByte[4];
    struct POINT Point;
};
struct NODE {
    struct NODE *pNext;
    const char *sName;
    enum COLOR Color;
    CALLBACK pfCall;
    struct POINT aCorner[2][3];
    union WORD Word;
    struct {
        u8 Inner;
        double Wide;
    } Unnamed;
    u32 aData[7];
    volatile long long Counter;
};
struct FORWARD;
int Global = 1;
const char *const sText = "text";
volatile u32 aGrid[3][4];
struct NODE Head;
struct FLAGS Flags;
static struct NODE *pTail;
struct FORWARD *pUnknown;
void *pAnything;
CALLBACK apfTable[2];
long long unsigned Wide;
signed char Small;
void (*pfNothing)(void);

typedef int ROW[4];
typedef void *HANDLE;
typedef const volatile unsigned short REGISTER;
typedef struct {
    long a;
} UNNAMED;
#pragma pack(push, 1)
struct PACKED {
    char Head;
    int Unaligned;
    unsigned long long Long : 33;
    signed Field : 5;
    short Tail;
};
#pragma pack(pop)
struct OPEN {
    int Count;
    _Bool IsSet : 1;
    enum COLOR Color : 3;
    union {
        int AsInt;
        float AsFloat;
    };
    struct {
        char First, Second;
    } aPair[2];
    int aRest[];
};
ROW aRow[3];
int (*pRow)[4];
void **ppAnything;
HANDLE aHandle[2];
HANDLE *pHandle;
REGISTER Port;
const volatile int *const volatile pBoth;
int *restrict pAlone;
void *(*pfMake)(u32 Size, const HANDLE *pTemplate);
int (*(*pfChoose)(char))(int, CALLBACK);
UNNAMED Plain;
UNNAMED *apPlain[2][2];
struct PACKED Packed;
struct OPEN Open;
_Bool IsReady;
float Single;
long double Longest;
float _Complex Complex;
__WCHAR_TYPE__ Letter;
unsigned long Long;
short unsigned aShort[0];
enum { LOW = -5, HIGH = 100000 } Unnamed;
const enum COLOR *pColor;
void *Make(u32 Size) { return Size != 0 ? pAnything : (void *)ppAnything; }

static inline int Twice(int Value) {
    int Doubled = Value * 2;
    return Doubled + Global;
}

__attribute__((noinline)) int Sum(const u8 *pData, u32 Num) {
    int Total = 0;
    for (u32 i = 0; i < Num; ++i) {
        int Step = pData[i] + (int)Num;
        Total += Twice(Step);
    }
    return Total;
}

__attribute__((noinline)) static int Recurse(struct NODE *pNode, int Depth) {
    static int Deepest;
    struct FLAGS Local = {1, 2, -3, 4, 5};
    Flags = Local;
    if (Depth > Deepest) {
        Deepest = Depth;
    }
    return pNode != 0 && Depth < 10 ? Recurse(pNode->pNext, Depth + 1) + 1 : Deepest;
}

int main(void) {
    int Result = Sum((const u8 *)sText, 4);
    Head.Word.Whole = (u32)Result;
    pTail = &Head;
    Result += Recurse(pTail, 0);
    if (apfTable[0]) {
        Result += apfTable[0](Result, 'x');
    }
    aGrid[1][2] = (u32)Twice(Result);
    return Result;
}
