#pragma once

namespace vantor::base {

// A progress bar as the core sees it: the windows show it, the command line prints it. Called on
// the thread that does the work.
class ProgressGauge {
public:
    virtual ~ProgressGauge() = default;
    virtual void setMaximum(int maximum) = 0;
    virtual void setPosition(int position) = 0;
};

} // namespace vantor::base

// Every layer speaks this vocabulary: it is named in vantor as it stands.
namespace vantor {
using namespace base;
} // namespace vantor
