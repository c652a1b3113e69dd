#include "framework/PlainText.h"

#include <QTextDocument>
#include <gtest/gtest.h>

TEST(PlainText, NamesAreShownLetterByLetter) {
    const auto Shown = [](const QString& sTip) {
        QTextDocument Document;
        Qt::mightBeRichText(sTip) ? Document.setHtml(sTip) : Document.setPlainText(sTip);
        return Document.toPlainText();
    };
    for (const QString& sName : {QStringLiteral("/tmp/a b.c"), QStringLiteral("/tmp/<b>bold</b>&amp;.c"),
                                 QStringLiteral("<img src=\"/etc/passwd\">"), QStringLiteral("a &lt; b"),
                                 QStringLiteral("std::map<int, char>::at")}) {
        EXPECT_EQ(Shown(ToPlainToolTip(sName)), sName);
    }
    EXPECT_EQ(EscapeMnemonic("R&D&&.c"), "R&&D&&&&.c");
    EXPECT_EQ(EscapeTitle("a[*].c"), "a[*][*].c");
}
