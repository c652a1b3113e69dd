#include "framework/LayoutText.h"

namespace {

struct AREA_NAME {
    int Area;
    const char* sName;
};

/// In the order in which a text is searched for them.
constexpr AREA_NAME aArea[] = {
    {AREA_BOTTOM, "BOTTOM"}, {AREA_LEFT, "LEFT"}, {AREA_RIGHT, "RIGHT"}, {AREA_FLOATING, "FLOATING"}};

constexpr int MAX_COORDINATE = 1'000'000; ///< more is damage, and would overflow sums

/// Position of the text outside double quotes; -1 if it isn't there.
qsizetype FindUnquoted(const QString& sText, const QString& sWhat, qsizetype From) {
    bool IsInQuotes = false;
    for (qsizetype i = 0; i < sText.size(); ++i) {
        if (sText[i] == QLatin1Char('"')) {
            IsInQuotes = !IsInQuotes;
        } else if (i >= From && !IsInQuotes && QStringView(sText).mid(i).startsWith(sWhat)) {
            return i;
        }
    }
    return -1;
}

QString WithoutComment(const QString& sLine) {
    qsizetype End = sLine.size();
    for (const char* sMark : {"//", "#"}) {
        const qsizetype Found = FindUnquoted(sLine, QLatin1String(sMark), 0);
        End = Found >= 0 ? qMin(End, Found) : End;
    }
    return sLine.left(End);
}

/// The items between commas outside quotes.
QStringList ItemsOf(const QString& sLine) {
    const QString sText = WithoutComment(sLine);
    QStringList Items;
    qsizetype Start = 0;
    for (qsizetype Comma = 0; (Comma = FindUnquoted(sText, QStringLiteral(","), Start)) >= 0; Start = Comma + 1) {
        Items.append(sText.mid(Start, Comma - Start).trimmed());
    }
    Items.append(sText.mid(Start).trimmed());
    return Items;
}

/// Value of the first item that begins with the key, without its quotes.
QString ValueOf(const QStringList& Items, const char* sKey) {
    for (const QString& sItem : Items) {
        if (sItem.startsWith(QLatin1String(sKey))) {
            QString sValue = sItem.mid(sItem.indexOf(QLatin1Char('=')) + 1).trimmed();
            if (sValue.size() >= 2 && sValue.startsWith(QLatin1Char('"')) && sValue.endsWith(QLatin1Char('"'))) {
                sValue = sValue.mid(1, sValue.size() - 2);
            }
            return sValue;
        }
    }
    return {};
}

int Number(const QStringList& Items, const char* sKey) {
    return qBound(-MAX_COORDINATE, ValueOf(Items, sKey).toInt(), MAX_COORDINATE);
}

/// The elements of "[a;b]".
QStringList GetList(const QString& sValue) {
    if (!sValue.startsWith(QLatin1Char('[')) || !sValue.endsWith(QLatin1Char(']')) || sValue.size() == 2) {
        return {};
    }
    QStringList List = sValue.mid(1, sValue.size() - 2).split(QLatin1Char(';'));
    for (QString& sElement : List) {
        sElement = sElement.trimmed().remove(QLatin1Char('"'));
    }
    return List;
}

QString Quoted(const QString& sText) {
    return QLatin1Char('"') + QString(sText).remove(QLatin1Char('"')) + QLatin1Char('"');
}

} // namespace

QString LayoutAreaName(int Area) {
    for (const AREA_NAME& Row : aArea) {
        if (Row.Area == Area) {
            return QString::fromLatin1(Row.sName);
        }
    }
    return {};
}

int ParseLayoutArea(const QString& sText) {
    for (const AREA_NAME& Row : aArea) {
        if (sText.contains(QLatin1String(Row.sName), Qt::CaseInsensitive)) {
            return Row.Area;
        }
    }
    return AREA_NONE;
}

QString FormatLayout(const DOCK_LAYOUT& Dock) {
    return QStringLiteral("OpenWindow=%1, DockArea=%2, x=%3, y=%4, w=%5, h=%6, FilterBarShown=%7, ExecCountersShown=%8")
        .arg(Quoted(Dock.sName), LayoutAreaName(Dock.Area))
        .arg(Dock.x)
        .arg(Dock.y)
        .arg(Dock.w)
        .arg(Dock.h)
        .arg(Dock.FilterBarShown)
        .arg(Dock.ExecCountersShown);
}

QString FormatLayout(const TOOLBAR_LAYOUT& Toolbar) {
    return QStringLiteral("OpenToolbar=%1, Floating=%2, x=%3, y=%4")
        .arg(Quoted(Toolbar.sName))
        .arg(Toolbar.Floating)
        .arg(Toolbar.x)
        .arg(Toolbar.y);
}

QString FormatLayout(const TABLE_LAYOUT& Table) {
    QStringList Columns;
    for (const QString& sColumn : Table.VisibleColumns) {
        Columns.append(Quoted(sColumn));
    }
    QStringList Widths;
    for (const int Width : Table.ColumnWidths) {
        Widths.append(QString::number(Width));
    }
    const QString sSort = QStringLiteral("SortCol=%1, SortOrder=\"%2\"")
                              .arg(Quoted(Table.sSortColumn.isEmpty() ? QStringLiteral("None") : Table.sSortColumn),
                                   Table.IsAscending ? QLatin1String("ASCENDING") : QLatin1String("DESCENDING"));
    return QStringLiteral("TableHeader=%1, %2, VisibleCols=[%3], ColWidths=[%4]")
        .arg(Quoted(Table.sWindow), sSort, Columns.join(QLatin1Char(';')), Widths.join(QLatin1Char(';')));
}

std::optional<DOCK_LAYOUT> ParseDockLayout(const QString& sLine) {
    const QStringList Items = ItemsOf(sLine);
    if (!Items.first().startsWith(QLatin1String("OpenWindow"))) {
        return {};
    }
    return DOCK_LAYOUT{ValueOf(Items, "OpenWindow"),
                       ParseLayoutArea(ValueOf(Items, "DockArea")),
                       Number(Items, "x"),
                       Number(Items, "y"),
                       Number(Items, "w"),
                       Number(Items, "h"),
                       Number(Items, "FilterBarShown"),
                       Number(Items, "ExecCountersShown")};
}

std::optional<TOOLBAR_LAYOUT> ParseToolbarLayout(const QString& sLine) {
    const QStringList Items = ItemsOf(sLine);
    if (!Items.first().startsWith(QLatin1String("OpenToolbar"))) {
        return {};
    }
    return TOOLBAR_LAYOUT{ValueOf(Items, "OpenToolbar"), Number(Items, "Floating"), Number(Items, "x"),
                          Number(Items, "y")};
}

std::optional<TABLE_LAYOUT> ParseTableLayout(const QString& sLine) {
    const QStringList Items = ItemsOf(sLine);
    if (!Items.first().startsWith(QLatin1String("TableHeader"))) {
        return {};
    }
    TABLE_LAYOUT Table;
    Table.sWindow = ValueOf(Items, "TableHeader");
    const QString sSort = ValueOf(Items, "SortCol");
    Table.sSortColumn = sSort == QLatin1String("None") ? QString() : sSort;
    Table.IsAscending = ValueOf(Items, "SortOrder") != QLatin1String("DESCENDING");
    Table.VisibleColumns = GetList(ValueOf(Items, "VisibleCols"));
    for (const QString& sWidth : GetList(ValueOf(Items, "ColWidths"))) {
        Table.ColumnWidths.append(qBound(0, sWidth.toInt(), MAX_COORDINATE));
    }
    return Table;
}
