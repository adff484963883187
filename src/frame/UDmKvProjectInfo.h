#pragma once
// The logo and splash pictures of the product lines; this product's when the settings group
// is the Brevik brand, whatever its case.
#include <QObject>
#include <QPixmap>

class TDmKvProjectInfo : public QObject {
  Q_OBJECT
 public:
  explicit TDmKvProjectInfo(QObject* owner = nullptr);
  ~TDmKvProjectInfo() override;

  QPixmap GetImageLogo() const;
  QPixmap GetImageSplash() const;

 private:
  bool IsOwnBrand() const;
};

extern TDmKvProjectInfo* DmKvProjectInfo;
