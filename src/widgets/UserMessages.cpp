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

bool UserMessages::confirm(QWidget* parent, const QString& question) {
    QMessageBox ask(QMessageBox::Question, "Vantor专业版", question, QMessageBox::Yes | QMessageBox::No,
                    parent);
    ask.setObjectName("confirm");
    ask.setDefaultButton(QMessageBox::No);
    return ask.exec() == QMessageBox::Yes;
}

void UserMessages::redirect(Sink replacement) {
    sink() = std::move(replacement);
}

} // namespace vantor
