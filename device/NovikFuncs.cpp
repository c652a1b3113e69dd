#include "device/NovikFuncs.h"

#include <QCoreApplication>
#include <QDir>
#include <QLibrary>
#include <type_traits>

namespace {

// Stands in for a function that could not be found, so that no caller needs a test: -1 where that means failure,
// else 0 or null.
template <class RESULT, class... ARGS> RESULT MissingCall(ARGS...) {
    if constexpr (std::is_signed_v<RESULT>) {
        return RESULT(-1);
    } else if constexpr (!std::is_void_v<RESULT>) {
        return RESULT();
    }
}

template <class RESULT, class... ARGS> void SetMissing(RESULT (**ppFunc)(ARGS...)) {
    *ppFunc = &MissingCall<RESULT, ARGS...>;
}

} // namespace

NOVIK_FUNCS LoadNovikFuncs(const QString& sPath) {
    NOVIK_FUNCS Funcs;
    Funcs.sPath = QDir::fromNativeSeparators(sPath);
    QLibrary Library(sPath);
    if (!Library.load()) {
        Funcs.sError = QStringLiteral("cannot load the probe library %1: %2").arg(Funcs.sPath, Library.errorString());
    }
    QStringList Missing;
#define NOVIK_RESOLVE(Name)                                                                                            \
    if (Library.isLoaded()) {                                                                                          \
        Funcs.Name = reinterpret_cast<decltype(Funcs.Name)>(Library.resolve(#Name));                                   \
    }                                                                                                                  \
    if (!Funcs.Name) {                                                                                                 \
        SetMissing(&Funcs.Name);                                                                                       \
        Missing.append(QStringLiteral(#Name));                                                                         \
    }
    NOVIK_FOR_EACH_FUNC(NOVIK_RESOLVE)
#undef NOVIK_RESOLVE
    if (Funcs.sError.isEmpty() && !Missing.isEmpty()) {
        Funcs.sError =
            QStringLiteral("the probe library %1 lacks %2").arg(Funcs.sPath, Missing.join(QStringLiteral(", ")));
    }
    return Funcs;
}

const NOVIK_FUNCS& LoadNovikLibrary() {
    static const NOVIK_FUNCS Funcs =
        LoadNovikFuncs(QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("libnovik.so")));
    return Funcs;
}
