#include "AnalysisWindow.h"

#include "ChartPage.h"
#include "UserMessages.h"
#include "WindowActions.h"
#include "WindowSettings.h"

#include <QComboBox>
#include <QDateEdit>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QSaveFile>
#include <QVBoxLayout>
#include <QWebEngineView>

#include <optional>

namespace vantor::charts {

namespace {

constexpr const char* kDateFormat = "yyyy-MM-dd";

// Messages become message boxes; the page itself shows what was written.
class WindowObserver : public AnalysisObserver {
public:
    explicit WindowObserver(QWidget* window) : window_(window) {}
    void showMessage(const std::string& text) override { widgets::UserMessages::show(window_, text); }
    void documentWritten(const std::filesystem::path&) override {}

private:
    QWidget* window_;
};

QDateEdit* dateEdit(const std::string& text, const char* name) {
    auto* edit = new QDateEdit(QDate::fromString(QString::fromStdString(text), kDateFormat));
    edit->setObjectName(name);
    edit->setDisplayFormat(kDateFormat);
    edit->setCalendarPopup(true);
    return edit;
}

// The bytes of a "data:image/png;base64,…" address; empty for anything else.
QByteArray pngOfDataAddress(const QString& address) {
    static const QString prefix = "data:image/png;base64,";
    if (!address.startsWith(prefix)) return {};
    return QByteArray::fromBase64(address.mid(prefix.size()).toLatin1());
}

bool writeWhole(const QString& file, const QByteArray& bytes) {
    QSaveFile out(file);
    return out.open(QIODevice::WriteOnly) && out.write(bytes) == bytes.size() && out.commit();
}

} // namespace

AnalysisWindow::AnalysisWindow(const Analysis& analysis, widgets::HelpTopic help, db::TDM& dm,
                               const DataFolder& folder, QWidget* parent)
    : QWidget(parent), analysis_(analysis), dm_(dm), gallery_(folder) {
    setWindowTitle(QString::fromUtf8(analysis.caption.data(), qsizetype(analysis.caption.size())));

    DateRange range = defaultDateRange(DateTime::now());
    dianmingList = new QComboBox;
    dianmingList->setObjectName("dianmingList");
    // Narrow enough that the whole row still fits beside the side bar on a 1024-pixel screen.
    dianmingList->setMinimumWidth(140);
    dianmingList->setMaximumWidth(300);
    date1 = dateEdit(range.from, "date1");
    date2 = dateEdit(range.to, "date2");
    refresh = new QPushButton("刷新列表");
    refresh->setObjectName("refresh");
    bsSkinButton1 = new QPushButton("分析");
    bsSkinButton1->setObjectName("bsSkinButton1");
    helpButton = new QPushButton("操作帮助");
    helpButton->setObjectName("helpButton");
    pictureButton = new QPushButton("保存图片");
    pictureButton->setObjectName("pictureButton");
    pictureButton->setEnabled(false);
    web1 = new QWebEngineView;
    web1->setObjectName("web1");
    web1->setPage(new ChartPage(
        analysis_, [this](const ListLink& link) { exportList(link); }, web1));
    web1->setHtml(emptyStatePage(emptyStateText(analysis_)));

    if (!analysis_.links.empty()) {
        saveDlg = new QFileDialog(this, "导出");
        saveDlg->setObjectName("saveDlg");
        saveDlg->setAcceptMode(QFileDialog::AcceptSave);
        saveDlg->setNameFilters({"XML 文件 (*.xml)", "CSV 文件 (*.csv)"});
        saveDlg->setDefaultSuffix("xml");
        saveDlg->setOption(QFileDialog::DontConfirmOverwrite); // the export replaces a file of that name
        // A name typed without its ending gets the chosen kind's.
        connect(saveDlg, &QFileDialog::filterSelected, saveDlg, [this](const QString& filter) {
            saveDlg->setDefaultSuffix(filter.contains("*.csv") ? "csv" : "xml");
        });
        widgets::showProgramDates(saveDlg);
    }
    pictureDlg = new QFileDialog(this, "保存图片");
    pictureDlg->setObjectName("pictureDlg");
    pictureDlg->setAcceptMode(QFileDialog::AcceptSave);
    pictureDlg->setNameFilter("PNG 图片 (*.png)");
    pictureDlg->setDefaultSuffix("png");
    widgets::showProgramDates(pictureDlg);

    auto* controls = new QHBoxLayout;
    controls->addWidget(new QLabel("店铺名："));
    controls->addWidget(dianmingList, 1);
    controls->addWidget(refresh);
    controls->addSpacing(4);
    controls->addWidget(new QLabel("分析日期："));
    controls->addWidget(date1);
    controls->addWidget(new QLabel("到"));
    controls->addWidget(date2);
    controls->addSpacing(4);
    controls->addWidget(bsSkinButton1);
    controls->addWidget(helpButton);
    controls->addWidget(pictureButton);
    controls->addStretch();

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addLayout(controls);
    layout->addWidget(web1, 1);

    connect(refresh, &QPushButton::clicked, this, &AnalysisWindow::refreshClick);
    connect(bsSkinButton1, &QPushButton::clicked, this, &AnalysisWindow::bsSkinButton1Click);
    connect(pictureButton, &QPushButton::clicked, this, &AnalysisWindow::savePicture);
    giveHelp(this, help);
    connect(helpButton, &QPushButton::clicked, this,
            [this] { widgets::showHelp(widgets::helpPageOf(this)); });

    refreshClick();
}

void AnalysisWindow::refreshClick() {
    const int index = dianmingList->currentIndex();
    const std::optional<std::int64_t> was =
        index >= 0 ? std::optional(shopIds_[size_t(index)]) : std::optional<std::int64_t>();
    shopIds_.clear();
    dianmingList->clear();
    int keep = 0;
    for (const ShopChoice& shop : loadShopList(dm_.cn1(), analysis_)) {
        if (was && shop.id == *was) keep = dianmingList->count();
        dianmingList->addItem(QString::fromStdString(shop.name));
        shopIds_.push_back(shop.id);
    }
    if (dianmingList->count() > 0) dianmingList->setCurrentIndex(keep);
}

void AnalysisWindow::bsSkinButton1Click() {
    std::optional<AnalysisRequest> request;
    if (int index = dianmingList->currentIndex(); index >= 0)
        request = AnalysisRequest{shopIds_[size_t(index)], dianmingList->currentText().toStdString(),
                                  date1->text().toStdString(), date2->text().toStdString()};
    WindowObserver observer(this);
    if (runAnalysis(dm_.cn1(), gallery_, analysis_, request, observer).outcome != AnalysisOutcome::Written)
        return;
    web1->load(QUrl::fromLocalFile(QString::fromStdString(gallery_.page(analysis_.page).string())));
    pictureButton->setEnabled(true);
    emit chartsWritten();
}

void AnalysisWindow::exportList(const ListLink& link) {
    saveDlg->selectFile(QString::fromUtf8(link.listFile.data(), qsizetype(link.listFile.size())));
    if (saveDlg->exec() != QDialog::Accepted || saveDlg->selectedFiles().isEmpty()) return;
    WindowObserver observer(this);
    charts::exportList(
        gallery_, link, saveDlg->selectedFiles().first().toStdString(), observer,
        exportEncodingNamed(widgets::WindowSettings::exportEncoding()).value_or(ExportEncoding::Gbk));
}

// Every chart of the page, also those scrolled out of sight, as the page draws them; where the page
// cannot (a report card), the pane as it is drawn now.
void AnalysisWindow::savePicture() {
    pictureDlg->selectFile(windowTitle() + ".png");
    if (pictureDlg->exec() != QDialog::Accepted || pictureDlg->selectedFiles().isEmpty()) return;
    const QString file = pictureDlg->selectedFiles().first();
    QPointer<AnalysisWindow> self(this);
    web1->page()->runJavaScript("window.vantorGallery ? window.vantorGallery.pagePicture() : null",
                                [self, file](const QVariant& result) {
                                    if (!self) return;
                                    const QByteArray png = pngOfDataAddress(result.toString());
                                    const bool saved = png.isEmpty() ? self->web1->grab().save(file, "PNG")
                                                                     : writeWhole(file, png);
                                    widgets::UserMessages::show(self, saved ? kPictureSaved : kPictureFailed);
                                });
}

} // namespace vantor::charts
