#include "extensions/postgresql/PostgresQueryView.h"

#include <climits>

namespace oxin_postgresql {

std::unique_ptr<PostgresQueryView> PostgresQueryView::Open(PostgresConnection* connection,
                                                           std::string query,
                                                           Parameters parameters,
                                                           std::string* error) {
    std::unique_ptr<PostgresQueryView> view(
        new PostgresQueryView(connection, std::move(query), std::move(parameters)));
    if (!connection->StartStream(view.get(), view->query_, view->parameters_)) {
        *error = connection->error();
        return nullptr;
    }
    view->streaming_ = true;
    // The first answer describes the columns, with the first row if any.
    Result first = connection->NextResult(view.get());
    if (!first) {
        *error = connection->error();
        view->streaming_ = false;
        return nullptr;
    }
    view->columns_ = Column::From(first.get());
    view->assigned_.resize(view->columns_.size());
    if (PQresultStatus(first.get()) == PGRES_SINGLE_TUPLE) {
        view->row_ = Row::From(first.get(), 0);
        view->has_row_ = true;
        view->position_ = 1;
    } else {
        view->streaming_ = false;
        view->eof_ = true;
    }
    return view;
}

PostgresQueryView::~PostgresQueryView() {
    if (streaming_) connection_->StopStream(this);
}

void PostgresQueryView::Park() {
    while (streaming_) {
        Result result = connection_->NextResult(this);
        if (!result) {
            park_error_ = connection_->error();
            streaming_ = false;
        } else if (PQresultStatus(result.get()) == PGRES_SINGLE_TUPLE) {
            parked_.push_back(Row::From(result.get(), 0));
        } else {
            streaming_ = false;
        }
    }
}

PostgresQueryView::Read PostgresQueryView::ReadRow(Row* row) {
    if (!parked_.empty()) {
        *row = std::move(parked_.front());
        parked_.pop_front();
        return Read::kRow;
    }
    if (!park_error_.empty()) {
        Fail(park_error_);
        return Read::kFailed;
    }
    if (!streaming_) return Read::kEnd;
    Result result = connection_->NextResult(this);
    if (!result) {
        streaming_ = false;
        Fail(connection_->error());
        return Read::kFailed;
    }
    if (PQresultStatus(result.get()) != PGRES_SINGLE_TUPLE) {
        streaming_ = false;
        return Read::kEnd;
    }
    *row = Row::From(result.get(), 0);
    return Read::kRow;
}

bool PostgresQueryView::Restart() {
    if (streaming_) connection_->StopStream(this);
    streaming_ = false;
    parked_.clear();
    park_error_.clear();
    position_ = 0;
    if (!connection_->StartStream(this, query_, parameters_)) return Fail(connection_->error());
    streaming_ = true;
    return true;
}

// Past the last row eof is set, and the view stays on the last row read.
bool PostgresQueryView::ReadTo(long position) {
    Row row;
    while (position_ < position) {
        Read read = ReadRow(&row);
        if (read == Read::kFailed) return false;
        if (read == Read::kEnd) {
            eof_ = true;
            Refresh();
            return true;
        }
        row_ = std::move(row);
        has_row_ = true;
        position_++;
    }
    eof_ = false;
    Refresh();
    return true;
}

bool PostgresQueryView::Skip(int count) {
    long target = position_ + count;
    if (count >= 0) return ReadTo(target);
    if (target < 1) return PastTheEnd();
    return Restart() && ReadTo(target);
}

bool PostgresQueryView::Go(long position) {
    if (position == -2) {
        if (!ReadTo(LONG_MAX)) return false;
        eof_ = !has_row_;
        return true;
    }
    if (position == -1) position = 1;
    if (position < 1) return PastTheEnd();
    if (position < position_ && !Restart()) return false;
    return ReadTo(position);
}

}  // namespace oxin_postgresql
