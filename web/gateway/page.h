// The page with its first view in it, so that it is drawn before its script runs.
// SPDX-License-Identifier: MIT
#pragma once

#include "request.h"

#include <QByteArray>

/// Where the page is: /www/pages/logging/index.html.
extern const QString pagePath;

/// The page's text with @p first, the answer of the resource "activities", in it; null when the
/// page cannot be read.
QByteArray filledPage(const Answer &first);

/// @p page with the rows of @p first in its element <tbody id="rows"> and the whole of it as data
/// in its element <script id="first">. What an element of that name has already is replaced. All of
/// it is text for the browser, whatever characters it has.
QByteArray filled(QByteArray page, const Answer &first);
