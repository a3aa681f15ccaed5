// A viewer: opens a photograph, finds its faces in a thread, with progress and a button to stop, draws boxes and points,
// and shows a chip of each face.
//
//   viewer [PHOTO] [--screenshot PICTURE]   with a picture to write, it shows itself there and ends
// The window holds one Finder. A search runs in a thread of its own, reads the QImage in place, whatever its rows end
// with, and hands over to the window's thread by QMetaObject::invokeMethod.

#include <QApplication>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QImageReader>
#include <QLabel>
#include <QMainWindow>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QStatusBar>
#include <QTimer>
#include <QVBoxLayout>
#include <atomic>
#include <functional>
#include <optional>
#include <thread>
#include <vector>

#include "oznakit.hpp"

namespace {

oznakit::Image viewOf(const QImage& photo) {
  return {photo.constBits(),    photo.width(), photo.height(), photo.bytesPerLine(),
          oznakit::Format::Rgb,  // QImage::Format_RGB888.
          /*orientation=*/1};
}

struct Found {
  QImage photo;
  std::vector<oznakit::Face> faces;
  std::vector<QImage> chips;
  QString message;
};

Found search(std::optional<oznakit::Finder>& finder, const QImage& photo,
             const std::function<bool(float)>& progress) {
  Found found;
  found.photo = photo;
  oznakit::SearchOptions options;
  options.landmarks = oznakit::Landmarks::All68;
  options.details = true;
  options.progress = progress;
  oznakit::ChipOptions chip;
  chip.width = chip.height = 112;
  try {
    if (!finder) finder.emplace();  // Reads the models.
    found.faces = finder->find(viewOf(photo), options);
    for (const oznakit::Face& face : found.faces) {
      const oznakit::Picture cut = oznakit::chip(viewOf(photo), face, chip);
      found.chips.push_back(
          QImage(cut.pixels.data(), 112, 112, 3 * 112, QImage::Format_RGB888).copy());
    }
    found.message = QStringLiteral("Faces: %1").arg(found.faces.size());
  } catch (const oznakit::Cancelled&) {
    found.message = QStringLiteral("Stopped");
  } catch (const std::exception& error) {
    found.message = QString::fromUtf8(error.what());
  }
  return found;
}

// Shows the photograph as large as there is room, with what was found in it.
class PhotoView : public QWidget {
 public:
  PhotoView() { setMinimumSize(480, 360); }
  void show(const QImage& photo, std::vector<oznakit::Face> faces) {
    photo_ = photo;
    faces_ = std::move(faces);
    update();
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    if (photo_.isNull()) return;
    const QSizeF size = QSizeF(photo_.size()).scaled(QSizeF(this->size()), Qt::KeepAspectRatio);
    painter.translate((width() - size.width()) / 2, (height() - size.height()) / 2);
    painter.scale(size.width() / photo_.width(), size.height() / photo_.height());
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(0, 0, photo_);
    for (const oznakit::Face& face : faces_) {
      painter.setPen(QPen(QColor(0, 255, 0), 0));  // One pixel of the window, at every scale.
      painter.drawRect(QRectF(face.box.left, face.box.top, face.box.width(), face.box.height()));
      painter.setPen(QPen(QColor(255, 255, 0), 0));
      const double radius = face.box.width() / 100;
      // A point has 0 at the centre of the first pixel, and the painter at its corner.
      for (const oznakit::Point& point : face.points) {
        painter.drawEllipse(QPointF(point.x + 0.5, point.y + 0.5), radius, radius);
      }
    }
  }

 private:
  QImage photo_;
  std::vector<oznakit::Face> faces_;
};

class Window : public QMainWindow {
 public:
  QString screenshot;  // Where to write one, if at all.

  Window() {
    auto* const centre = new QWidget;
    auto* const column = new QVBoxLayout(centre);
    column->addWidget(view_, 1);
    chips_->setAlignment(Qt::AlignLeft);
    column->addLayout(chips_);
    setCentralWidget(centre);
    auto* const open = new QPushButton(QStringLiteral("Open"));
    bar_->setRange(0, 1000);
    statusBar()->addPermanentWidget(bar_);
    statusBar()->addPermanentWidget(stop_);
    statusBar()->addPermanentWidget(open);
    stop_->setEnabled(false);
    connect(stop_, &QPushButton::clicked, [this] { cancelled_ = true; });
    connect(open, &QPushButton::clicked, [this] {
      const QString path = QFileDialog::getOpenFileName(this);
      if (!path.isEmpty()) load(path);
    });
    resize(900, 760);
  }

  ~Window() override { endSearch(); }

  void load(const QString& path) {
    endSearch();
    QImageReader reader(path);
    reader.setAutoTransform(true);  // Turns it as its orientation says.
    photo_ = reader.read().convertToFormat(QImage::Format_RGB888);
    show(Found{
        photo_, {}, {}, photo_.isNull() ? reader.errorString() : QStringLiteral("Searching ...")});
    if (photo_.isNull()) return;
    stop_->setEnabled(true);
    cancelled_ = false;
    thread_ = std::thread([this, photo = photo_] {
      const Found found = search(finder_, photo, [this](float done) {
        QMetaObject::invokeMethod(this, [this, done] { bar_->setValue(int(1000 * done)); });
        return !cancelled_;
      });
      QMetaObject::invokeMethod(this, [this, found] {
        show(found);
        if (screenshot.isEmpty()) return;
        QTimer::singleShot(500, this, [this] {
          QApplication::exit(screen()->grabWindow(winId()).save(screenshot) ? 0 : 1);
        });
      });
    });
  }

 private:
  void endSearch() {
    cancelled_ = true;
    if (thread_.joinable()) thread_.join();
  }

  void show(const Found& found) {
    if (found.photo.cacheKey() != photo_.cacheKey()) return;  // Another one was opened meanwhile.
    view_->show(photo_, found.faces);
    qDeleteAll(centralWidget()->findChildren<QLabel*>());
    for (const QImage& chip : found.chips) {
      auto* const label = new QLabel;
      label->setPixmap(QPixmap::fromImage(chip));
      chips_->addWidget(label);
    }
    stop_->setEnabled(false);
    statusBar()->showMessage(found.message);
  }

  PhotoView* const view_ = new PhotoView;
  QHBoxLayout* const chips_ = new QHBoxLayout;
  QProgressBar* const bar_ = new QProgressBar;
  QPushButton* const stop_ = new QPushButton(QStringLiteral("Stop"));
  QImage photo_;
  std::optional<oznakit::Finder> finder_;
  std::atomic<bool> cancelled_{false};
  std::thread thread_;
};

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  const QStringList words = QApplication::arguments();
  Window window;
  window.QWidget::show();
  if (words.size() == 4 && words[2] == QLatin1String("--screenshot")) window.screenshot = words[3];
  if (words.size() > 1) window.load(words[1]);
  return QApplication::exec();
}
