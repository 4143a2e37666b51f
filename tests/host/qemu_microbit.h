#ifndef VELLXML_TESTS_HOST_QEMU_MICROBIT_H
#define VELLXML_TESTS_HOST_QEMU_MICROBIT_H

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QThread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

/// QEMU's emulated micro:bit (an nRF51) with its GDB server on a loopback port of its own, stopped when
/// this object goes. Without firmware it starts halted (-S); with one it runs it, its UART0 written to
/// serialFile.
class QemuMicrobit {
public:
    explicit QemuMicrobit(const QString& firmware = QString(), const QString& serialFile = QString())
    {
        // A port the kernel just gave out and took back is free unless another process grabs it in the
        // moment between; QEMU is started again on another port when that happens.
        for (int attempt = 0; attempt < 5 && !m_ready; ++attempt) {
            m_port = freePort();
            QStringList args {QStringLiteral("-M"), QStringLiteral("microbit"), QStringLiteral("-display"),
                QStringLiteral("none"), QStringLiteral("-monitor"), QStringLiteral("none"),
                QStringLiteral("-gdb"), QStringLiteral("tcp:127.0.0.1:%1").arg(m_port)};
            args << QStringLiteral("-serial")
                 << (serialFile.isEmpty() ? QStringLiteral("null") : QStringLiteral("file:") + serialFile);
            if (firmware.isEmpty())
                args << QStringLiteral("-S");
            else
                args << QStringLiteral("-kernel") << firmware;
            m_process.start(QStringLiteral(VELLXML_QEMU_PATH), args);
            if (!m_process.waitForStarted(10000))
                continue;
            m_ready = waitForPort();
            if (!m_ready)
                stop();
        }
    }

    ~QemuMicrobit() { stop(); }
    QemuMicrobit(const QemuMicrobit&) = delete;
    QemuMicrobit& operator=(const QemuMicrobit&) = delete;

    bool ready() const { return m_ready; }
    int port() const { return m_port; }
    QString location() const { return QStringLiteral("gdb://127.0.0.1:%1").arg(m_port); }
    QString errors() { return QString::fromLocal8Bit(m_process.readAllStandardError()); }

private:
    static int freePort()
    {
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        ::bind(fd, reinterpret_cast<sockaddr*>(&address), length);
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
        ::close(fd);
        return ntohs(address.sin_port);
    }

    /// Whether the port listens, asked without connecting (a GDB connection would stop the machine):
    /// QEMU opens it before it starts running, so its own log is not needed.
    bool waitForPort()
    {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 10000 && m_process.state() == QProcess::Running) {
            if (listening())
                return true;
            QThread::msleep(20);
        }
        return false;
    }

    bool listening() const
    {
        QFile table(QStringLiteral("/proc/net/tcp"));
        if (!table.open(QIODevice::ReadOnly))
            return false;
        // Local address 0100007F:PORT in state 0A (listen).
        const QString wanted = QStringLiteral(":%1 ").arg(m_port, 4, 16, QLatin1Char('0')).toUpper();
        for (const QByteArray& line : table.readAll().split('\n')) {
            const QString text = QString::fromLatin1(line);
            if (text.contains(QStringLiteral("0100007F") + wanted)
                && text.section(QLatin1Char(' '), 3, 3, QString::SectionSkipEmpty) == QLatin1String("0A"))
                return true;
        }
        return false;
    }

    void stop()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }

    QProcess m_process;
    int m_port = 0;
    bool m_ready = false;
};

#endif
