#pragma once

#include "script/Trans.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <gtest/gtest.h>
#include <memory>

/// Runs a script text in an interpreter of its own. The host functions known to it:
///   Out(int)            records its argument; the result is the argument
///   Say(const char*)    records its text
///   Fail()              result -1
///   Tick()              result 1; from the 200th call on it asks the script to stop
///   Stop()              asks the script to stop at its next statement
///   Nine(int a .. i)    more parameters than an API call has room for
class CScriptRunner {
public:
    explicit CScriptRunner(const QByteArray& Text) : m_Text(Text) {
        m_pTrans = TransInit(m_pHeap.get(), m_Text.constData());
        s_pCurrent = this;
        TransAddConstant(m_pTrans, "TEN", 10);
        TransAddConstant(m_pTrans, "MINUS", -5);
        TransAddApiFunction(m_pTrans, "__api__ int Out (int Value);", Out);
        TransAddApiFunction(m_pTrans, "__api__ int Say (const char* sText);", Say);
        TransAddApiFunction(m_pTrans, "__api__ int Fail (void);", [](const I64*, U32) { return -1; });
        TransAddApiFunction(m_pTrans, "__api__ int Tick (void);", Tick);
        TransAddApiFunction(m_pTrans, "__api__ int Stop (void);", Stop);
        TransAddApiFunction(m_pTrans,
                            "__api__ int Nine (int a, int b, int c, int d, int e, int f, int g, int h, int i);", Out);
        m_pTrans->pfOnError = [](const CTrans* pTrans) {
            ++s_pCurrent->NumErrors;
            s_pCurrent->sError = QString::fromUtf8(pTrans->sError);
            s_pCurrent->ErrorLine = pTrans->Line;
        };
        ParseResult = TransParse(m_pTrans);
    }

    int Run(const char* sFunction = "f") { return TransRunFunction(m_pTrans, sFunction); }
    CTrans* Get() { return m_pTrans; }

    int ParseResult = 0;
    int NumErrors = 0;
    int NumTicks = 0;
    I32 ErrorLine = -1;
    QString sError;
    QList<I64> Values;
    QList<QByteArray> Texts;

private:
    static constexpr int MAX_TICKS = 200;

    static I32 Out(const I64* paArgs, U32) {
        s_pCurrent->Values.append(paArgs[0]);
        return static_cast<I32>(paArgs[0]);
    }
    static I32 Say(const I64* paArgs, U32) {
        const auto* pText = reinterpret_cast<const char*>(paArgs[0]);
        const auto* pHeap = reinterpret_cast<const char*>(s_pCurrent->m_pHeap.get());
        if (pText >= pHeap && pText < pHeap + SCRIPT_HEAP_SIZE) {
            s_pCurrent->Texts.append(QByteArray(pText));
        }
        return 0;
    }
    static I32 Tick(const I64*, U32) {
        if (++s_pCurrent->NumTicks >= MAX_TICKS) {
            s_pCurrent->m_pTrans->DoStop = 1;
        }
        return 1;
    }
    static I32 Stop(const I64*, U32) {
        s_pCurrent->m_pTrans->DoStop = 1;
        return 0;
    }

    struct HEAP {
        alignas(16) U8 aByte[SCRIPT_HEAP_SIZE];
    };
    static inline CScriptRunner* s_pCurrent = nullptr;
    std::unique_ptr<HEAP> m_pHeap = std::make_unique<HEAP>();
    QByteArray m_Text;
    CTrans* m_pTrans = nullptr;
};

/// Values that the body of a function hands to Out().
inline QList<I64> ValuesOf(const QByteArray& Body) {
    CScriptRunner Runner("void f (void) {\n" + Body + "\n}\n");
    EXPECT_EQ(Runner.ParseResult, 0) << Body.constData();
    EXPECT_EQ(Runner.Run(), 0) << Body.constData() << "\n" << qPrintable(Runner.sError);
    return Runner.Values;
}

/// Error text of a body and its line, 1 for the body's first: "2: Syntax error."; empty if it runs.
inline QString ErrorOf(const QByteArray& Body) {
    CScriptRunner Runner("void f (void) {" + Body + "\n}\n");
    if (Runner.ParseResult == 0) {
        Runner.Run();
    }
    return Runner.NumErrors == 0 ? QString() : QString("%1: %2").arg(Runner.ErrorLine).arg(Runner.sError);
}
