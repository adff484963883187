#include "UDmKvProjectInfo.h"

#include <QLinearGradient>
#include <QPainter>
#include <QSvgRenderer>

#include "KvGlobalInfo.h"

TDmKvProjectInfo* DmKvProjectInfo = nullptr;

namespace {

struct TBrandLook {
  QColor Top, Bottom, Accent, Text;
};

// The other line's pictures: a banner of gradient ground, an accent rule and the name.
QPixmap PaintBanner(QSize size, const TBrandLook& look, const QString& title, int titlePt) {
  QPixmap pix(size);
  QPainter p(&pix);
  p.setRenderHint(QPainter::Antialiasing);
  QLinearGradient ground(0, 0, 0, size.height());
  ground.setColorAt(0, look.Top);
  ground.setColorAt(1, look.Bottom);
  p.fillRect(pix.rect(), ground);
  p.fillRect(QRect(0, size.height() - 6, size.width(), 6), look.Accent);
  QFont font = p.font();
  font.setPointSize(titlePt);
  font.setBold(true);
  p.setFont(font);
  p.setPen(look.Text);
  QRect text = pix.rect().adjusted(16, 8, -16, -14);
  p.drawText(text, Qt::AlignLeft | Qt::AlignVCenter, title);
  return pix;
}

const TBrandLook OtherLook{QColor("#d8dde3"), QColor("#aab3bd"), QColor("#4a6fa5"), Qt::black};

// This product's pictures are drawings in the resources, at their own size.
QPixmap Picture(const QString& resource) {
  QSvgRenderer svg(resource);
  QPixmap pix(svg.defaultSize());
  pix.fill(Qt::transparent);
  QPainter p(&pix);
  svg.render(&p);
  return pix;
}

}  // namespace

TDmKvProjectInfo::TDmKvProjectInfo(QObject* owner) : QObject(owner) {
  setObjectName("DmKvProjectInfo");
  if (!DmKvProjectInfo) DmKvProjectInfo = this;
}

TDmKvProjectInfo::~TDmKvProjectInfo() {
  if (DmKvProjectInfo == this) DmKvProjectInfo = nullptr;
}

bool TDmKvProjectInfo::IsOwnBrand() const {
  return KvGlobalInfo().strAppFolder_Group.compare("Brevik", Qt::CaseInsensitive) == 0;
}

QPixmap TDmKvProjectInfo::GetImageLogo() const {
  return IsOwnBrand() ? Picture(":/pictures/PhonaraLogo.svg")
                      : PaintBanner(QSize(560, 72), OtherLook, KvGlobalInfo().strFullAppName, 18);
}

QPixmap TDmKvProjectInfo::GetImageSplash() const {
  return IsOwnBrand() ? Picture(":/pictures/PhonaraSplash.svg")
                      : PaintBanner(QSize(560, 260), OtherLook, KvGlobalInfo().strFullAppName, 24);
}
