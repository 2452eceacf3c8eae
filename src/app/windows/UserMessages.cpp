#include "UserMessages.h"

#include <QMessageBox>

namespace vantor {

namespace {
UserMessages::Sink& sink() {
    static UserMessages::Sink current;
    return current;
}
} // namespace

void UserMessages::show(QWidget* parent, const QString& text) {
    if (sink())
        sink()(parent, text);
    else
        QMessageBox::information(parent, "Vantor专业版", text);
}

void UserMessages::redirect(Sink replacement) {
    sink() = std::move(replacement);
}

} // namespace vantor
