#include "output/queue.h"

#include <cups/cups.h>
#include <cups/pwg.h>

namespace {

// The last answer of the print system, in its own words.
QString cups_reason_s() {
    const char* text = cupsLastErrorString();
    return QString::fromUtf8(text && *text ? text : ippErrorString(cupsLastError()));
}

bool cups_failed() {
    return cupsLastError() > IPP_STATUS_OK_EVENTS_COMPLETE;
}

// After a job was refused: the queue's state when it explains why (gone, disabled,
// rejecting), else the print system's words.
QString refusal_s(const QString& name) {
    const QString reason = cups_reason_s();
    const QString state = queue_problem_s(name);
    return QStringLiteral("the print system did not take the job (") +
           (state.isEmpty() || state.startsWith(QLatin1String("the print system")) ? reason
                                                                                   : state) +
           QLatin1Char(')');
}

} // namespace

QString queue_problem_s(const QString& name) {
    const QByteArray queue = name.toUtf8();
    cups_dest_t* dest = cupsGetNamedDest(CUPS_HTTP_DEFAULT, queue.constData(), nullptr);
    if (!dest) {
        if (cups_failed() && cupsLastError() != IPP_STATUS_ERROR_NOT_FOUND)
            return QStringLiteral("the print system did not answer (") + cups_reason_s() +
                   QLatin1Char(')');
        return QStringLiteral("there is no such queue");
    }
    const char* state = cupsGetOption("printer-state", dest->num_options, dest->options);
    const char* accepting =
        cupsGetOption("printer-is-accepting-jobs", dest->num_options, dest->options);
    QString problem;
    if (state && QByteArray(state).toInt() == IPP_PSTATE_STOPPED)
        problem = QStringLiteral("the queue is disabled");
    else if (accepting && qstrcmp(accepting, "false") == 0)
        problem = QStringLiteral("the queue is rejecting jobs");
    cupsFreeDests(1, dest);
    return problem;
}

QString print_file_s(const QString& name, const QByteArray& file, const QString& title,
                     const QString& media) {
    const QByteArray queue = name.toUtf8();
    char uri[1024];
    httpAssembleURIf(HTTP_URI_CODING_ALL, uri, sizeof uri, "ipp", nullptr, "localhost", ippPort(),
                     "/printers/%s", queue.constData());
    // Print-Job, not Create-Job and Send-Document: the scheduler reads the whole
    // request before it makes a job, so a run that dies while sending leaves none.
    ipp_t* request = ippNewRequest(IPP_OP_PRINT_JOB);
    ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_URI, "printer-uri", nullptr, uri);
    ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_NAME, "requesting-user-name", nullptr,
                 cupsUser());
    ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_NAME, "job-name", nullptr,
                 title.toUtf8().constData());
    ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_MIMETYPE, "document-format", nullptr,
                 "application/pdf");
    if (!media.isEmpty()) {
        cups_option_t* options = nullptr;
        const int count = cupsAddOption("media", media.toUtf8().constData(), 0, &options);
        cupsEncodeOptions2(request, count, options, IPP_TAG_JOB);
        cupsFreeOptions(count, options);
    }
    const QByteArray resource = "/printers/" + queue;
    ipp_t* response =
        cupsDoFileRequest(CUPS_HTTP_DEFAULT, request, resource.constData(), file.constData());
    const bool taken = !cups_failed() && ippFindAttribute(response, "job-id", IPP_TAG_INTEGER);
    ippDelete(response);
    return taken ? QString() : refusal_s(name);
}

QString job_problem_s(const QString& name) {
    return cups_failed() ? refusal_s(name) : QString();
}

QString media_name_s(double width_mm, double height_mm) {
    const pwg_media_t* media = pwgMediaForSize(qRound(qMin(width_mm, height_mm) * 100),
                                               qRound(qMax(width_mm, height_mm) * 100));
    return media && media->pwg ? QString::fromLatin1(media->pwg) : QString();
}
