#pragma once

#include <QString>
#include <QUrl>

#include <functional>

class QWidget;

namespace vantor::widgets {

// The help pages compiled into the program: right for this build, and there without a network.
enum class HelpTopic {
    Index,
    CategoryRanking,
    ItemRanking,
    RankingHistory,
    SalesGathering,
    SalesView,
    SalesTime,
    SalesRanking,
    SalesTrend,
    RatingGathering,
    RatingView,
    CreditGrowth,
    RatingCheck,
    ShopWatch,
    Settings,
    Feedback,
};

// The sections of the index page, each with its windows.
enum class HelpSection { Ranking, Sales, Rating, Watch };

// "qrc:/help/<page>.html", as the embedded browser loads it.
QUrl helpPage(HelpTopic topic);
QUrl helpPage(HelpSection section);
// ":/help/<page>.html", as a file of the resources.
QString helpResource(HelpTopic topic);

// Marks a window with its page, which F1 on the window then shows.
void giveHelp(QWidget* window, HelpTopic topic);
// The page a window was marked with; empty for one without.
QUrl helpPageOf(const QWidget* window);

// Shows a page in the viewer the main window installed, or in a browser window of its own.
void showHelp(const QUrl& page);
void setHelpViewer(std::function<void(const QUrl&)> viewer);

} // namespace vantor::widgets
