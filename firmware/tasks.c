// Two tasks on the process stack, a scheduler and nested interrupts. With a floating point unit the tasks and the
// interrupts compute with it, so that extended frames are stacked, lazily and (LAZY off) at once.
#include "firmware.h"

volatile uint32_t Sink;

#define STACK_WORDS 256

struct CTask {
    uint32_t* pSp;
    uint32_t Stack[STACK_WORDS];
};

static struct CTask Tasks[2];
struct CTask* volatile pCurrent;
static volatile uint32_t Ticks, Calls, Switches, NestLevel, MostNested;

#ifdef __ARM_FP
static volatile float Shared = 1.0f;
#define FP_FRAME 1
#else
#define FP_FRAME 0
#endif

static uint32_t Random(uint32_t* pSeed) {
    *pSeed = *pSeed * 1664525u + 1013904223u;
    return *pSeed ^ *pSeed >> 15;
}

static uint32_t Call(uint32_t a, uint32_t b) {
    register uint32_t r0 __asm("r0") = a;
    register uint32_t r1 __asm("r1") = b;
    __asm volatile("svc 7" : "+r"(r0) : "r"(r1) : "memory");
    return r0;
}

static float Work(uint32_t Value) {
#ifdef __ARM_FP
    float x = (float)Value * 1.0e-6f, Sum = 0;
    for (int Round = 1; Round < 6; Round++) {
        Sum += x / (float)Round - Sum * 0.25f;
        x = x * x + 0.5f;
    }
    Shared = Shared * 0.5f + Sum;
    return Sum;
#else
    return (float)(int)Value;
#endif
}

static void Yield(void) {
    ICSR = ICSR_PENDSVSET;
    BARRIER();
}

static void TaskMain(uint32_t Number) {
    uint32_t MySeed = 77 + Number;
    for (uint32_t Round = 0;; Round++) {
        const uint32_t Value = Random(&MySeed);
        Sink += Call(Value, Round);
        if (Value & 1) {
            ICSR = ICSR_PENDSTSET;
            BARRIER();
        }
        const float x = Work(Value & 0xFFFF);
        if ((Value & 6) == 0) {
            REG(0xE000E200) = 1 + (Value >> 5 & 2); // interrupts 0 and 1
            BARRIER();
        }
        Sink ^= (uint32_t)(int32_t)x;
        if ((Value & 24) == 0) {
            __asm volatile("cpsid i" ::: "memory");
            ICSR = ICSR_PENDSTSET | ICSR_PENDSVSET; // both taken behind cpsie, the more important one first
            REG(0xE000E200) = 3;
            Sink++;
            __asm volatile("cpsie i\n isb" ::: "memory");
        }
        if (Number == 1 && Round % 3 == 0) {
            Yield();
        }
    }
}

static void Enter(void) {
    if (++NestLevel > MostNested) {
        MostNested = NestLevel;
    }
}

void SysTickHandler(void) {
    Enter();
    Ticks++;
    Sink ^= (uint32_t)(int32_t)Work(Ticks);
    if (Ticks % 4 == 0) {
        REG(0xE000E200) = 2; // the more important interrupt 1 pre-empts at once
        BARRIER();
    }
    ICSR = ICSR_PENDSVSET; // follows behind this handler
    NestLevel--;
}

void Irq0Handler(void) {
    Enter();
    Sink += (uint32_t)(int32_t)Work(Sink & 255);
    NestLevel--;
}

void Irq1Handler(void) {
    Enter();
    Sink++;
    NestLevel--;
}

void SvcMain(uint32_t* pFrame) {
    Enter();
    Calls++;
    pFrame[0] = (pFrame[0] ^ pFrame[1]) + Calls;
    NestLevel--;
}

__attribute__((naked)) void SvcHandler(void) {
    __asm volatile("movs r0, #4\n mov r1, lr\n tst r0, r1\n beq 1f\n mrs r0, psp\n b 2f\n"
                   "1: mrs r0, msp\n 2: push {r4, lr}\n bl SvcMain\n pop {r4, pc}\n .ltorg");
}

uint32_t* Switch(uint32_t* pSp) {
    pCurrent->pSp = pSp;
    pCurrent = pCurrent == &Tasks[0] ? &Tasks[1] : &Tasks[0];
    if (++Switches == ROUNDS) {
        void Finished(void);
        Finished();
    }
    return pCurrent->pSp;
}

#if FP_FRAME
__attribute__((naked)) void PendSvHandler(void) {
    __asm volatile("mrs r0, psp\n tst lr, #0x10\n it eq\n vstmdbeq r0!, {s16-s31}\n stmdb r0!, {r4-r11, lr}\n"
                   "push {r3, lr}\n bl Switch\n pop {r3, lr}\n"
                   "ldmia r0!, {r4-r11, lr}\n tst lr, #0x10\n it eq\n vldmiaeq r0!, {s16-s31}\n msr psp, r0\n bx lr");
}
#else
__attribute__((naked)) void PendSvHandler(void) {
    __asm volatile("mrs r0, psp\n subs r0, #36\n mov r3, r0\n stmia r3!, {r4-r7}\n"
                   "mov r4, r8\n mov r5, r9\n mov r6, r10\n mov r7, r11\n stmia r3!, {r4-r7}\n mov r4, lr\n str r4, [r3]\n"
                   "push {r3, lr}\n bl Switch\n pop {r3}\n pop {r3}\n"
                   "mov r3, r0\n adds r3, #16\n ldmia r3!, {r4-r7}\n mov r8, r4\n mov r9, r5\n mov r10, r6\n mov r11, r7\n"
                   "ldr r4, [r3]\n mov lr, r4\n adds r3, #4\n ldmia r0!, {r4-r7}\n msr psp, r3\n bx lr");
}
#endif

#if defined(__ARM_ARCH_8M_MAIN__) || defined(__ARM_ARCH_8M_BASE__)
#define TASK_RETURN 0xFFFFFFBCu // non-secure state
#else
#define TASK_RETURN 0xFFFFFFFDu
#endif

static void Prepare(struct CTask* pTask, uint32_t Number) {
    uint32_t* p = pTask->Stack + STACK_WORDS - 8;
    p[0] = Number;
    p[6] = (uint32_t)TaskMain & ~1u;
    p[7] = 0x01000000;
    p -= 9;
    p[8] = TASK_RETURN;
    pTask->pSp = p;
}

int main(void) {
    Prepare(&Tasks[0], 0);
    Prepare(&Tasks[1], 1);
    pCurrent = &Tasks[0];
#if FP_FRAME && !LAZY
    REG(0xE000EF34) &= ~(1u << 30); // FPCCR.LSPEN
#endif
    REG(0xE000ED20) = 0x80C00000; // SysTick 0x80, PendSV 0xC0
    REG(0xE000E400) = 0x00004080; // interrupt 0 like SysTick, interrupt 1 before it
    REG(0xE000E100) = 3;
    // The first task starts as if it came back from an interrupt: switch to its stack and jump.
    __asm volatile("msr psp, %0\n movs r1, #2\n msr control, r1\n isb" ::"r"(Tasks[0].Stack + STACK_WORDS) : "r1", "memory");
    TaskMain(0);
    return 0;
}
