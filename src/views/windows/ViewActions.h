#pragma once

#include "WindowActions.h"
#include "views/Dataset.h"
#include "views/DeleteRoutine.h"

#include <QString>

#include <functional>

class QWidget;

namespace vantor::views {

// Asks the question (Yes/No); any answer but No runs the delete. A failed delete shows `failure`.
// Nothing happens without a current row. True when the rows were deleted.
bool confirmAndDelete(QWidget* parent, const Dataset& rows, const QString& question,
                      const std::function<DeleteResult()>& remove, const QString& failure);

} // namespace vantor::views
