#pragma once

#include "charts/Analysis.h"

#include <QWebEnginePage>

#include <functional>

namespace vantor::charts {

// Registers the scheme of the pages' list links. It must run before the application object exists,
// or the browser treats "sale://…" as an unknown address and never asks before following it.
void registerSaleScheme();

// The page an analysis window shows before its first run: the text, centred in the pane.
QString emptyStatePage(const std::string& text);

// The page of an analysis window: an address that carries one of the window's list markers is not
// followed; the list is handed to the window instead.
class ChartPage : public QWebEnginePage {
    Q_OBJECT
public:
    ChartPage(const Analysis& analysis, std::function<void(const ListLink&)> exportList,
              QObject* parent = nullptr);

protected:
    bool acceptNavigationRequest(const QUrl& url, NavigationType type, bool isMainFrame) override;

private:
    const Analysis& analysis_;
    std::function<void(const ListLink&)> exportList_;
};

} // namespace vantor::charts
