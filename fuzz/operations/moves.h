// The operations that an input asks for, each with what has to hold behind it.
// SPDX-License-Identifier: MIT
#pragma once

#include "check.h"
#include "support/property.h"
#include "testablemodule.h"

#include <QByteArray>
#include <QStringList>

namespace Operations {

using Arguments = QStringList; ///< of one line, at least four

/// The module, on a phone as after a boot.
struct Scene
{
    /// Does an edit that nothing stood in the way of once more, which may change nothing.
    template<typename Edit>
    void repeat(const Edit &edit) const
    {
        if (!check.wentThrough()) {
            return;
        }
        const auto before = read(live);
        edit();
        if (outside.refusedChecks == 0) {
            FUZZ_REQUIRE(read(live) == before);
        }
    }

    TestableModule module;
    Check check;
};

// On destinations.
void redirect(Scene &scene, const Arguments &arguments);
void redirectToServer(Scene &scene, const Arguments &arguments);
void redirectToFile(Scene &scene, const Arguments &arguments);
void redirectAll(Scene &scene, const Arguments &arguments);
void initConfigFile(Scene &scene, const Arguments &arguments);
void logRemoteServer(Scene &scene, const Arguments &arguments);

/// Performs the operations of @p input, one a line, on a phone as after a boot, and checks what
/// each has left.
void perform(QByteArray input);

} // namespace Operations
