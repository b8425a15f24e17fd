// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The sums of the store server are right also where several threads make the first ones of the
// process at once. Each try is a process of its own.

#include "content.h"
#include "filesum.h"

#include <QtTest>
#include <array>
#include <atomic>
#include <cstdlib>
#include <fcntl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace
{

const char sumOfNothing[] = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

bool IsTextRight()
{
    return Sha256Of(std::string()) == sumOfNothing;
}

bool IsFileRight()
{
    return SumOf(Agent::Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC))).sha256 == sumOfNothing;
}

// Half of the threads sum a text, the others a file. They begin together.
bool AreAllRight()
{
    std::array<std::thread, 8> threads;
    std::atomic<int> ready{ 0 }, right{ 0 };
    for (std::size_t i = 0; i < threads.size(); ++i)
        threads[i] = std::thread([&, i] {
            ++ready;
            while (ready < int(threads.size()))
                std::this_thread::yield();
            right += (i % 2 ? IsTextRight() : IsFileRight()) ? 1 : 0;
        });
    for (std::thread& one : threads)
        one.join();
    return right == int(threads.size());
}

bool IsRightInANewProcess()
{
    const pid_t child = fork();
    if (child == 0)
        _exit(AreAllRight() ? EXIT_SUCCESS : EXIT_FAILURE);
    int status = -1;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

} // namespace

class SumsTest : public QObject
{
    Q_OBJECT

private slots:
    void theFirstSumsOfAProcessAreRight()
    {
        for (int tries = 0; tries < 200; ++tries)
            QVERIFY(IsRightInANewProcess());
    }
};

QTEST_GUILESS_MAIN(SumsTest)
#include "tst_sums.moc"
