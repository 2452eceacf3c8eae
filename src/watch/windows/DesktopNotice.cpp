#include "DesktopNotice.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusReply>
#include <QStyle>
#include <QSystemTrayIcon>
#include <QVariantMap>

namespace vantor {

namespace {

DesktopNotice::Sink& sink() {
    static DesktopNotice::Sink redirected;
    return redirected;
}

bool notifyOverBus(const QString& title, const QString& body) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return false;
    QDBusInterface service("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                           "org.freedesktop.Notifications", bus);
    if (!service.isValid()) return false;
    QDBusReply<uint> reply = service.call("Notify", QString("Vantor专业版"), uint(0), QString("vantor"),
                                          title, body, QStringList(), QVariantMap(), -1);
    return reply.isValid();
}

// The tray icon stays for the balloon to show; one for the whole run.
void notifyInTray(const QString& title, const QString& body) {
    if (!QSystemTrayIcon::isSystemTrayAvailable()) return;
    static QSystemTrayIcon* tray = [] {
        auto* icon = new QSystemTrayIcon(qApp);
        icon->setIcon(qApp->windowIcon().isNull()
                          ? qApp->style()->standardIcon(QStyle::SP_MessageBoxInformation)
                          : qApp->windowIcon());
        icon->show();
        return icon;
    }();
    tray->showMessage(title, body);
}

} // namespace

void DesktopNotice::show(const QString& title, const QString& body) {
    if (sink()) {
        sink()(title, body);
        return;
    }
    if (!notifyOverBus(title, body)) notifyInTray(title, body);
}

void DesktopNotice::redirect(Sink sink) {
    vantor::sink() = std::move(sink);
}

} // namespace vantor
