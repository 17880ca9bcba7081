// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "qxutils/storage/iobinfilewriter.h"

IOBinFileWriter::~IOBinFileWriter() = default;
