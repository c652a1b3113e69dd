#include "command/FuzzyMatch.h"

#include <QList>

namespace {

constexpr int POINTS_CHARACTER = 1;
constexpr int POINTS_RUN = 5; ///< a character right behind the one found before
constexpr int POINTS_WORD_START = 8;
constexpr int POINTS_LAST_WORD = 6;   ///< the first character begins the last word
constexpr int MAX_LENGTH_PENALTY = 4; ///< of two names that fit alike, the shorter one
constexpr int CHARACTERS_PER_PENALTY = 8;
constexpr int IMPOSSIBLE = -1'000'000;

bool IsWordStart(const QString& sName, qsizetype i) {
    return i == 0 || !sName[i - 1].isLetterOrNumber() || (sName[i].isUpper() && !sName[i - 1].isUpper());
}

int Points(const QString& sName, qsizetype i) {
    return POINTS_CHARACTER + (IsWordStart(sName, i) ? POINTS_WORD_START : 0);
}

} // namespace

int FuzzyScore(const QString& sPattern, const QString& sName) {
    const QString sLow = sPattern.toLower().remove(QLatin1Char(' '));
    const QString sText = sName.toLower();
    if (sLow.isEmpty()) {
        return 0;
    }
    // aBest[i]: the best score of the pattern so far with its last character at place i of the name.
    QList<int> aBest(sText.size(), IMPOSSIBLE);
    const qsizetype LastWord = sName.lastIndexOf(QLatin1Char('.')) + 1;
    for (qsizetype k = 0; k < sLow.size(); ++k) {
        QList<int> aNext(sText.size(), IMPOSSIBLE);
        int BestBefore = IMPOSSIBLE;
        for (qsizetype i = 0; i < sText.size(); ++i) {
            if (sText[i] == sLow[k]) {
                const int Before = k == 0 ? (i == LastWord ? POINTS_LAST_WORD : 0) : BestBefore;
                const int Run = k > 0 && i > 0 ? aBest[i - 1] + POINTS_RUN : IMPOSSIBLE;
                const int Best = qMax(Before, Run);
                aNext[i] = Best < 0 ? IMPOSSIBLE : Best + Points(sName, i);
            }
            BestBefore = qMax(BestBefore, aBest[i]);
        }
        aBest = aNext;
    }
    const int Best = aBest.isEmpty() ? IMPOSSIBLE : *std::max_element(aBest.begin(), aBest.end());
    if (Best < 0) {
        return -1;
    }
    return Best + MAX_LENGTH_PENALTY -
           qMin<int>(MAX_LENGTH_PENALTY, static_cast<int>(sName.size()) / CHARACTERS_PER_PENALTY);
}
