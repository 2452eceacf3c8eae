#include "ViewActions.h"

#include "UserMessages.h"

#include <QMessageBox>

namespace vantor::views {

bool confirmAndDelete(QWidget* parent, const Dataset& rows, const QString& question,
                      const std::function<DeleteResult()>& remove, const QString& failure) {
    if (rows.current() < 0) return false;
    QMessageBox ask(QMessageBox::Question, "Vantor专业版", question, QMessageBox::Yes | QMessageBox::No,
                    parent);
    ask.setObjectName("confirmDelete");
    if (ask.exec() == QMessageBox::No) return false;
    DeleteResult result;
    widgets::guarded([&] { result = remove(); });
    if (!result.done) widgets::UserMessages::show(parent, failure);
    return result.done;
}

} // namespace vantor::views
