#pragma once

#include <QObject>
#include <QString>
#include <functional>

namespace glintro {

// A short message about what was just done, shown for a few seconds. A value: models emit it, a window shows
// it, tests compare it. The action does its work once, however often it is run; it may outlive the model.
struct Toast {
    Q_GADGET
    Q_PROPERTY(QString text MEMBER text FINAL)
    Q_PROPERTY(QString symbol MEMBER symbol FINAL)
    Q_PROPERTY(Tone tone MEMBER tone FINAL)
    Q_PROPERTY(QString action MEMBER action FINAL)

  public:
    // The colour of its symbol, by what the message is about.
    enum class Tone { plain, secondary, cut, speed, problem };
    Q_ENUM(Tone)

    QString text = {};
    QString symbol = {}; // an icon's name; empty for none
    Tone tone = Tone::plain;
    QString action = {};            // the button's label; empty for none
    std::function<void()> run = {}; // what the button does; on the main thread
};

} // namespace glintro
