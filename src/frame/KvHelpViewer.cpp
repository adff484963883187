#include "KvHelpViewer.h"

#include <QFileInfo>
#include <QPointer>
#include <QTextBrowser>
#include <QUrl>

#include "KvGlobalInfo.h"

namespace {
QPointer<QTextBrowser> gHelp;
}

bool KvHelp_Show(const QString& fileName, QWidget* owner) {
  if (!QFileInfo::exists(fileName)) return false;
  if (gHelp && gHelp->parentWidget() != owner) delete gHelp.data();
  if (!gHelp) {
    gHelp = new QTextBrowser(owner);
    gHelp->setWindowFlag(Qt::Window);
    gHelp->setObjectName("FrmKvHelp");
    gHelp->setAttribute(Qt::WA_DeleteOnClose);
    gHelp->setOpenExternalLinks(true);
    gHelp->resize(760, 640);
  }
  gHelp->setSource(QUrl::fromLocalFile(QFileInfo(fileName).absoluteFilePath()));
  gHelp->setWindowTitle(KvGlobalInfo().strFullAppName + " - Help");
  gHelp->show();
  gHelp->raise();
  return true;
}

QWidget* KvHelp_Window() {
  return gHelp;
}
