#include "qxutils/storage/iobinfilewriter.h"

IOBinFileWriter::~IOBinFileWriter() = default;
