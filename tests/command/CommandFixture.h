#pragma once

#include "base/ConsoleRing.h"
#include "command/CommandTable.h"

#include <QAction>
#include <QObject>
#include <gtest/gtest.h>

/// Actions of a window that link to rows, and a host that is put back behind each test.
class CCommandTest : public ::testing::Test {
protected:
    void TearDown() override {
        m_pOwner.reset();
        CCommandTable::SetHost({});
        CONSOLE_MSG Msg;
        while (ConsoleTake(&Msg)) {
        }
    }

    /// A linked action of the row, as a window makes it.
    QAction* AddAction(U32 Id) {
        QAction* pAction = AddNamed(m_pOwner.get(), CCommandTable::GetRow(Id).ActionName);
        CCommandTable::LinkActions(m_pOwner.get());
        return pAction;
    }

    static QAction* AddNamed(QObject* pOwner, const QString& sName) {
        auto* pAction = new QAction(pOwner);
        pAction->setObjectName(sName);
        return pAction;
    }

    static QStringList TakeConsole() {
        QStringList Lines;
        CONSOLE_MSG Msg;
        while (ConsoleTake(&Msg)) {
            Lines.append(QString::fromUtf8(Msg.sText));
        }
        return Lines;
    }

    std::unique_ptr<QObject> m_pOwner = std::make_unique<QObject>();
};
