#include "UDmKvProjectInfo.h"

#include <QLinearGradient>
#include <QPainter>

#include "KvGlobalInfo.h"

TDmKvProjectInfo* DmKvProjectInfo = nullptr;

namespace {

struct TBrandLook {
  QColor Top, Bottom, Accent, Text;
};

// Paints a brand banner: gradient ground, an accent rule, the product name and the maker.
QPixmap PaintBanner(QSize size, const TBrandLook& look, const QString& title, int titlePt,
                    const QString& subtitle) {
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
  font.setPointSize(qMax(7, titlePt / 2));
  font.setBold(false);
  p.setFont(font);
  p.drawText(text, Qt::AlignRight | Qt::AlignBottom, subtitle);
  return pix;
}

const TBrandLook OwnLook{QColor("#3b3f45"), QColor("#1f2124"), QColor("#f28c28"), Qt::white};
const TBrandLook OtherLook{QColor("#d8dde3"), QColor("#aab3bd"), QColor("#4a6fa5"), Qt::black};

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
  const QString& name = KvGlobalInfo().strFullAppName;
  return IsOwnBrand() ? PaintBanner(QSize(420, 64), OwnLook, name, 18, "Brevik")
                      : PaintBanner(QSize(420, 64), OtherLook, name, 18, QString());
}

QPixmap TDmKvProjectInfo::GetImageSplash() const {
  const QString& name = KvGlobalInfo().strFullAppName;
  return IsOwnBrand() ? PaintBanner(QSize(420, 220), OwnLook, name, 24, "sound level meter reader")
                      : PaintBanner(QSize(420, 220), OtherLook, name, 24, QString());
}
