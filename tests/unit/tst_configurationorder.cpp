// Turns at the configuration files: one at a time, in the order of the tickets, and no new one
// within one that a thread has already.
// SPDX-License-Identifier: MIT
#include "app/configurationorder.h"

#include <QTest>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <numeric>
#include <thread>
#include <vector>

namespace {

using Turn = ConfigurationOrder::Turn;
using Ticket = ConfigurationOrder::Ticket;

ConfigurationOrder &order()
{
    return ConfigurationOrder::instance();
}

/// Ends the test program when it exists for too long, before QtTest would: a turn that never comes
/// leaves threads that nobody can join.
class Deadline
{
public:
    Deadline()
        : m_thread([this] {
              std::unique_lock<std::mutex> lock(m_mutex);
              if (!m_ended.wait_for(lock, std::chrono::seconds(240), [this] { return m_inTime; })) {
                  qFatal("a turn does not come");
              }
          })
    {
    }
    ~Deadline()
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_inTime = true;
        }
        m_ended.notify_all();
        m_thread.join();
    }
    Q_DISABLE_COPY(Deadline)

private:
    std::mutex m_mutex;
    std::condition_variable m_ended;
    bool m_inTime = false;
    std::thread m_thread;
};

/// Waits for what must come.
void waitFor(const std::atomic<bool> &condition)
{
    while (!condition) {
        std::this_thread::yield();
    }
}

/// Gives other threads every opportunity to make @p condition true where it must not become true.
/// On a busy machine each takes a while, and fewer are enough.
bool staysFalse(const std::atomic<bool> &condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
    for (int opportunity = 0; opportunity < 2000 && !condition; ++opportunity) {
        if (std::chrono::steady_clock::now() > end) {
            break;
        }
        std::this_thread::yield();
    }
    return !condition;
}

} // namespace

class TestConfigurationOrder : public QObject
{
    Q_OBJECT

private slots:
    void thereIsOneOrder();
    void ticketsAreNumbered();
    void turnsFollowTheTickets_data();
    void turnsFollowTheTickets();
    void oneTurnAtATime();
    void turnWaitsForEarlierTickets();
    void turnWaitsForTheOneThatRuns();
    void nestedTurnsChangeNothing_data();
    void nestedTurnsChangeNothing();
    void nestedTurnTakesNoTicket();
    void nestingEndsWithTheTurn();
    void turnsOnOneThreadInARow();
};

void TestConfigurationOrder::thereIsOneOrder()
{
    const Deadline deadline;
    ConfigurationOrder *other = nullptr;
    std::thread([&other] { other = &ConfigurationOrder::instance(); }).join();
    QCOMPARE(other, &ConfigurationOrder::instance());
}

void TestConfigurationOrder::ticketsAreNumbered()
{
    const Deadline deadline;
    const Ticket first = order().takeTicket();
    const Ticket second = order().takeTicket();
    const Ticket third = order().takeTicket();
    for (const Ticket ticket : {first, second, third}) {
        const Turn turn(ticket);
    }
    QCOMPARE(second, first + 1);
    QCOMPARE(third, first + 2);
}

void TestConfigurationOrder::turnsFollowTheTickets_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("stride");
    // Threads are started in steps of the stride, which has no factor in common with the count.
    QTest::newRow("one") << 1 << 1;
    QTest::newRow("two, as taken") << 2 << 1;
    QTest::newRow("eight, as taken") << 8 << 1;
    QTest::newRow("two, the last first") << 2 << -1;
    QTest::newRow("eight, the last first") << 8 << -1;
    QTest::newRow("32, the last first") << 32 << -1;
    QTest::newRow("32, mixed") << 32 << 13;
}

void TestConfigurationOrder::turnsFollowTheTickets()
{
    QFETCH(int, count);
    QFETCH(int, stride);
    const Deadline deadline;

    std::vector<Ticket> tickets;
    for (int number = 0; number < count; ++number) {
        tickets.push_back(order().takeTicket());
    }
    // Without a lock of its own: only the turns keep the threads apart.
    std::vector<int> served;
    std::atomic<int> asking {0};
    std::vector<std::thread> threads;
    for (int started = 0; started < count; ++started) {
        const int number = ((stride < 0 ? count - 1 : 0) + started * (stride + count)) % count;
        threads.emplace_back([&, number] {
            ++asking;
            if (number == 0) {
                // All others are where they must be held up.
                while (asking < count) {
                    std::this_thread::yield();
                }
                staysFalse(std::atomic<bool> {false});
            }
            const Turn turn(tickets.at(static_cast<size_t>(number)));
            served.push_back(number);
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    std::vector<int> expected(static_cast<size_t>(count));
    std::iota(expected.begin(), expected.end(), 0);
    QVERIFY(served == expected);
}

void TestConfigurationOrder::oneTurnAtATime()
{
    constexpr int threadCount = 8;
    constexpr int turnCount = 50;
    const Deadline deadline;

    int turns = 0;
    std::atomic<int> inside {0};
    std::atomic<int> mostInside {0};
    std::vector<std::thread> threads;
    for (int number = 0; number < threadCount; ++number) {
        threads.emplace_back([&, number] {
            for (int repetition = 0; repetition < turnCount; ++repetition) {
                const auto work = [&] {
                    const int now = ++inside;
                    mostInside = std::max(mostInside.load(), now);
                    const int before = turns;
                    std::this_thread::yield();
                    turns = before + 1;
                    --inside;
                };
                if (number % 2 == 0) {
                    const Turn turn;
                    work();
                } else {
                    const Turn turn(order().takeTicket());
                    work();
                }
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    QCOMPARE(mostInside.load(), 1);
    QCOMPARE(turns, threadCount * turnCount);
}

void TestConfigurationOrder::turnWaitsForEarlierTickets()
{
    const Deadline deadline;
    const Ticket first = order().takeTicket();
    const Ticket second = order().takeTicket();
    std::atomic<bool> asking {false};
    std::atomic<bool> served {false};
    std::thread late([&] {
        asking = true;
        const Turn turn;
        served = true;
    });
    waitFor(asking);
    const bool waitsForBoth = staysFalse(served);
    bool waitsForTheSecond = false;
    std::thread([&] { const Turn turn(first); }).join();
    waitsForTheSecond = staysFalse(served);
    std::thread([&] { const Turn turn(second); }).join();
    late.join();
    QVERIFY(waitsForBoth);
    QVERIFY(waitsForTheSecond);
    QVERIFY(served);
}

void TestConfigurationOrder::turnWaitsForTheOneThatRuns()
{
    const Deadline deadline;
    std::atomic<bool> asking {false};
    std::atomic<bool> served {false};
    std::thread other;
    bool waits = false;
    {
        const Turn turn;
        other = std::thread([&] {
            asking = true;
            const Turn behind;
            served = true;
        });
        waitFor(asking);
        waits = staysFalse(served);
    }
    other.join();
    QVERIFY(waits);
    QVERIFY(served);
}

void TestConfigurationOrder::nestedTurnsChangeNothing_data()
{
    QTest::addColumn<bool>("withTicket");
    QTest::addColumn<int>("depth");
    QTest::newRow("within a turn, one") << false << 1;
    QTest::newRow("within a turn, five") << false << 5;
    QTest::newRow("within a job's turn, one") << true << 1;
    QTest::newRow("within a job's turn, five") << true << 5;
}

void TestConfigurationOrder::nestedTurnsChangeNothing()
{
    QFETCH(bool, withTicket);
    QFETCH(int, depth);
    const Deadline deadline;

    std::atomic<bool> otherServed {false};
    bool heldWithin = false;
    bool heldAfter = false;
    std::thread other;
    const auto work = [&] {
        // Its ticket lies before any that a nested turn could take.
        const Ticket behind = order().takeTicket();
        std::atomic<bool> asking {false};
        other = std::thread([&otherServed, &asking, behind] {
            asking = true;
            const Turn turn(behind);
            otherServed = true;
        });
        waitFor(asking);
        {
            std::vector<std::unique_ptr<Turn>> nested;
            for (int level = 0; level < depth; ++level) {
                nested.push_back(std::make_unique<Turn>());
            }
            heldWithin = staysFalse(otherServed);
        }
        heldAfter = staysFalse(otherServed);
    };
    std::thread([&] {
        if (withTicket) {
            const Turn turn(order().takeTicket());
            work();
        } else {
            const Turn turn;
            work();
        }
    }).join();
    other.join();
    QVERIFY(heldWithin);
    QVERIFY(heldAfter);
    QVERIFY(otherServed);
}

void TestConfigurationOrder::nestedTurnTakesNoTicket()
{
    const Deadline deadline;
    const Ticket outer = order().takeTicket();
    Ticket next = 0;
    {
        const Turn turn(outer);
        {
            const Turn nested;
            const Turn deeper;
        }
        next = order().takeTicket();
    }
    QCOMPARE(next, outer + 1);
    const Turn turn(next);
}

void TestConfigurationOrder::nestingEndsWithTheTurn()
{
    const Deadline deadline;
    std::atomic<bool> ended {false};
    std::atomic<bool> goOn {false};
    std::atomic<bool> asking {false};
    std::atomic<bool> servedAgain {false};
    std::thread twice([&] {
        {
            const Turn turn;
            const Turn nested;
        }
        ended = true;
        waitFor(goOn);
        asking = true;
        const Turn turn;
        servedAgain = true;
    });
    waitFor(ended);
    const Ticket first = order().takeTicket();
    goOn = true;
    waitFor(asking);
    const bool waits = staysFalse(servedAgain);
    std::thread([&] { const Turn turn(first); }).join();
    twice.join();
    QVERIFY(waits);
}

void TestConfigurationOrder::turnsOnOneThreadInARow()
{
    const Deadline deadline;
    const Ticket before = order().takeTicket();
    {
        const Turn turn(before);
    }
    for (int repetition = 0; repetition < 1000; ++repetition) {
        const Turn turn;
    }
    const Ticket after = order().takeTicket();
    QCOMPARE(after, before + 1001);
    const Turn turn(after);
}

QTEST_GUILESS_MAIN(TestConfigurationOrder)
#include "tst_configurationorder.moc"
