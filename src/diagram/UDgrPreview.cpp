#include "UDgrPreview.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QToolButton>
#include <QVBoxLayout>

#include "KvDiagram_Print.h"

// ---- TPagePreview ----

TPagePreview::TPagePreview(QWidget* parent) : QWidget(parent) {
  setObjectName(QStringLiteral("PagePreview"));
  setMinimumSize(200, 200);
  setFocusPolicy(Qt::StrongFocus);
}

void TPagePreview::SetDiagram(TKvDiagram* diagram) {
  FDiagram = diagram;
  Rebuild();
}

void TPagePreview::SetPage(int page) {
  FPage = std::clamp(page, 1, FPageCount);
  FBitmap = QImage();
  update();
  if (OnPageChange) OnPageChange();
}

void TPagePreview::Rebuild() {
  FPageCount = FDiagram ? FDiagram->PageCount() : 1;
  SetPage(FPage);
}

QRect TPagePreview::PaperRect() const {
  const int margin = 12;
  const QRect area = rect().adjusted(margin, margin, -margin - 4, -margin - 4);
  if (!FDiagram || area.isEmpty()) return {};
  const QSizeF paper = KvDiagram_PaperDots(FDiagram->PageSettings, 1, 1);
  if (paper.isEmpty()) return {};
  QSize size = paper.scaled(area.size(), Qt::KeepAspectRatio).toSize();
  return QRect(area.left() + (area.width() - size.width()) / 2,
               area.top() + (area.height() - size.height()) / 2, size.width(), size.height());
}

void TPagePreview::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.fillRect(rect(), palette().color(QPalette::Dark));
  const QRect paper = PaperRect();
  if (paper.isEmpty()) return;
  if (FBitmap.size() != paper.size())
    FBitmap = FDiagram->BuildPreviewBitmap(FPage, paper.width(), paper.height());
  p.fillRect(paper.translated(4, 4), QColor(60, 60, 60));
  p.drawImage(paper.topLeft(), FBitmap);
  p.setPen(Qt::black);
  p.drawRect(paper.adjusted(0, 0, -1, -1));
}

void TPagePreview::resizeEvent(QResizeEvent* e) {
  QWidget::resizeEvent(e);
  FBitmap = QImage();
}

// ---- TfmDiagramPreview ----

namespace {
QToolButton* Button(QWidget* parent, const char* name, const QString& caption,
                    const QString& hint) {
  auto* b = new QToolButton(parent);
  b->setObjectName(QLatin1String(name));
  b->setText(caption);
  b->setToolTip(hint);
  b->setToolButtonStyle(Qt::ToolButtonTextOnly);
  b->setFocusPolicy(Qt::NoFocus);
  return b;
}
}  // namespace

TfmDiagramPreview::TfmDiagramPreview(TKvDiagram* diagram, QWidget* parent)
    : QDialog(parent), FDiagram(diagram) {
  setObjectName(QStringLiteral("fmDiagramPreview"));
  setWindowTitle(QStringLiteral("Print Preview"));
  resize(640, 760);
  tbFirst = Button(this, "tbFirst", QStringLiteral("|<"), QStringLiteral("First page"));
  tbPrior = Button(this, "tbPrior", QStringLiteral("<"), QStringLiteral("Previous page"));
  tbNext = Button(this, "tbNext", QStringLiteral(">"), QStringLiteral("Next page"));
  tbLast = Button(this, "tbLast", QStringLiteral(">|"), QStringLiteral("Last page"));
  tbPrint = Button(this, "tbPrint", QStringLiteral("&Print..."), QStringLiteral("Print"));
  QToolButton* tbClose = Button(this, "tbClose", QStringLiteral("&Close"), QStringLiteral("Close"));
  lbPage = new QLabel(this);
  lbPage->setObjectName(QStringLiteral("lbPage"));
  PagePreview = new TPagePreview(this);
  auto* bar = new QHBoxLayout;
  for (QWidget* w : {static_cast<QWidget*>(tbFirst), static_cast<QWidget*>(tbPrior),
                     static_cast<QWidget*>(lbPage), static_cast<QWidget*>(tbNext),
                     static_cast<QWidget*>(tbLast)})
    bar->addWidget(w);
  bar->addStretch();
  bar->addWidget(tbPrint);
  bar->addWidget(tbClose);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(4, 4, 4, 4);
  layout->addLayout(bar);
  layout->addWidget(PagePreview, 1);
  connect(tbFirst, &QToolButton::clicked, this, [this] { PagePreview->SetPage(1); });
  connect(tbPrior, &QToolButton::clicked, this,
          [this] { PagePreview->SetPage(PagePreview->Page() - 1); });
  connect(tbNext, &QToolButton::clicked, this,
          [this] { PagePreview->SetPage(PagePreview->Page() + 1); });
  connect(tbLast, &QToolButton::clicked, this,
          [this] { PagePreview->SetPage(PagePreview->PageCount()); });
  connect(tbPrint, &QToolButton::clicked, this, [this] {
    if (FDiagram && FDiagram->Print(true)) accept();
  });
  connect(tbClose, &QToolButton::clicked, this, &QDialog::reject);
  PagePreview->OnPageChange = [this] { UpdatePageLabel(); };
  PagePreview->SetDiagram(diagram);
}

void TfmDiagramPreview::UpdatePageLabel() {
  const int page = PagePreview->Page(), count = PagePreview->PageCount();
  lbPage->setText(QStringLiteral("Page %1 of %2").arg(page).arg(count));
  tbFirst->setEnabled(page > 1);
  tbPrior->setEnabled(page > 1);
  tbNext->setEnabled(page < count);
  tbLast->setEnabled(page < count);
}

void TfmDiagramPreview::FormKeyDown(QKeyEvent* e) {
  switch (e->key()) {
    case Qt::Key_PageDown:
    case Qt::Key_Right:
    case Qt::Key_Down:
      PagePreview->SetPage(PagePreview->Page() + 1);
      break;
    case Qt::Key_PageUp:
    case Qt::Key_Left:
    case Qt::Key_Up:
      PagePreview->SetPage(PagePreview->Page() - 1);
      break;
    case Qt::Key_Home:
      PagePreview->SetPage(1);
      break;
    case Qt::Key_End:
      PagePreview->SetPage(PagePreview->PageCount());
      break;
    default:
      QDialog::keyPressEvent(e);
  }
}
