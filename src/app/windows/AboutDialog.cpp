#include "AboutDialog.h"

#include "BrowserPane.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QVBoxLayout>

#ifndef VANTOR_VERSION
#define VANTOR_VERSION "0.0.0"
#endif

namespace vantor {

AboutDialog::AboutDialog(QWidget* parent) : QDialog(parent) {
    setWindowTitle("关于");
    auto* layout = new QVBoxLayout(this);
    auto* text = new QLabel(QString("<h2>Vantor专业版</h2>"
                                    "<p>版本 %1</p>"
                                    "<p>淘宝市场数据采集与分析：店铺搜索、销售与评价采集、<br>"
                                    "数据浏览与导出、销售排行、分布与趋势分析。</p>"
                                    "<p>官方网站：<a href=\"%2\">%2</a></p>")
                                .arg(VANTOR_VERSION, vendorSite().toString().toHtmlEscaped()),
                            this);
    text->setOpenExternalLinks(true);
    layout->addWidget(text);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    layout->addWidget(buttons);
}

} // namespace vantor
