#include "HelpPages.h"

#include <QKeySequence>
#include <QPointer>
#include <QShortcut>
#include <QWebEngineView>
#include <QWidget>

namespace vantor::widgets {

namespace {

constexpr const char* kPageProperty = "helpPage";

const char* fileOf(HelpTopic topic) {
    switch (topic) {
    case HelpTopic::Index:
        return "index.html";
    case HelpTopic::CategoryRanking:
        return "category-ranking.html";
    case HelpTopic::ItemRanking:
        return "item-ranking.html";
    case HelpTopic::RankingHistory:
        return "ranking-history.html";
    case HelpTopic::SalesGathering:
        return "sales-gathering.html";
    case HelpTopic::SalesView:
        return "sales-view.html";
    case HelpTopic::SalesTime:
        return "sales-time.html";
    case HelpTopic::SalesRanking:
        return "sales-ranking.html";
    case HelpTopic::SalesTrend:
        return "sales-trend.html";
    case HelpTopic::RatingGathering:
        return "rating-gathering.html";
    case HelpTopic::RatingView:
        return "rating-view.html";
    case HelpTopic::CreditGrowth:
        return "credit-growth.html";
    case HelpTopic::RatingCheck:
        return "rating-check.html";
    case HelpTopic::ShopWatch:
        return "shop-watch.html";
    case HelpTopic::Settings:
        return "settings.html";
    case HelpTopic::Feedback:
        return "feedback.html";
    }
    return "index.html";
}

std::function<void(const QUrl&)>& viewer() {
    static std::function<void(const QUrl&)> installed;
    return installed;
}

} // namespace

QUrl helpPage(HelpTopic topic) {
    return QUrl(QString("qrc:/help/") + fileOf(topic));
}

QUrl helpPage(HelpSection section) {
    QUrl page = helpPage(HelpTopic::Index);
    const char* anchors[] = {"ranking", "sales", "rating", "watch"};
    page.setFragment(anchors[int(section)]);
    return page;
}

QString helpResource(HelpTopic topic) {
    return QString(":/help/") + fileOf(topic);
}

void giveHelp(QWidget* window, HelpTopic topic) {
    const QUrl page = helpPage(topic);
    window->setProperty(kPageProperty, page);
    // The window's own shortcut: F1 shows the page of the window the user is in.
    auto* key = new QShortcut(QKeySequence::HelpContents, window);
    key->setContext(Qt::WidgetWithChildrenShortcut);
    QObject::connect(key, &QShortcut::activated, window, [page] { showHelp(page); });
}

QUrl helpPageOf(const QWidget* window) {
    return window->property(kPageProperty).toUrl();
}

void showHelp(const QUrl& page) {
    if (viewer()) {
        viewer()(page);
        return;
    }
    // Without the main window the page still opens, in one reused browser window.
    static QPointer<QWebEngineView> own;
    if (!own) {
        own = new QWebEngineView;
        own->setAttribute(Qt::WA_DeleteOnClose);
        own->setWindowTitle("操作帮助");
        own->resize(800, 600);
    }
    own->load(page);
    own->show();
    own->raise();
}

void setHelpViewer(std::function<void(const QUrl&)> viewer) {
    widgets::viewer() = std::move(viewer);
}

} // namespace vantor::widgets
