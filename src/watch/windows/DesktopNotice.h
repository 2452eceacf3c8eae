#pragma once

#include <QString>

#include <functional>

namespace vantor {

// A notice on the desktop: the freedesktop notification service over the session bus, else the
// system tray's balloon. Tests take the notices instead of the desktop.
class DesktopNotice {
public:
    using Sink = std::function<void(const QString& title, const QString& body)>;

    static void show(const QString& title, const QString& body);
    // Replaces the desktop; an empty sink restores it.
    static void redirect(Sink sink);
};

} // namespace vantor
