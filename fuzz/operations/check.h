// What has to hold behind each operation, whatever it was.
// SPDX-License-Identifier: MIT
#pragma once

#include "model.h"

#include <QString>

#include <optional>
#include <set>
#include <string>

namespace Operations {

/// What the service asked of programs, which functions stand in for (targets/operations.cpp).
struct Outside
{
    int checksToRefuse = 0;
    int refusedChecks = 0; ///< in the running operation
    int reloads = 0; ///< in the running operation
    std::set<std::string> acceptedTexts; ///< what the check let through in the running operation
};
extern Outside outside;

/// Knows the files as the running operation found them.
class Check
{
public:
    /// Notes what is there before an operation.
    void begin();

    /// Whether the service takes @p activity for one, without a repair.
    bool isKnown(const QString &activity) const;
    /// Whether nothing stood in the way of an edit of the live file.
    bool wentThrough() const { return before && outside.refusedChecks == 0; }

    /// Nothing has appeared outside the files that the service owns, and the backup is as it was.
    void files() const;
    void unchanged() const;
    // After an edit of the live file: it holds what was asked for, when nothing stood in the way,
    // which is returned. @p activity is empty for an edit of all.
    bool level(const QString &activity, const QString &name) const;
    bool destination(const QString &activity, const QString &expression) const;
    /// The facility file of @p activity has @p lineNumber replaced by @p value, and nothing else.
    void facilityLine(const QString &activity, int lineNumber, const QString &value) const;
    /// The predefined destinations, for a live file whose blocks are as the set-up script writes
    /// them.
    void predefined() const;

    /// Whether the live file and the backup are as the set-up script and the service write them.
    bool isPlain = true;
    std::optional<std::string> before; ///< the live file
    std::optional<std::string> backupBefore;
    Files facilitiesBefore;

private:
    bool live(const std::string &expected) const;
};

} // namespace Operations
