"""Errors shaped as the hosted transcription API reports them."""

from starlette.responses import JSONResponse

_TYPES = {
    400: "invalid_request_error",
    403: "permission_error",
    404: "invalid_request_error",
    405: "invalid_request_error",
    408: "invalid_request_error",
    413: "invalid_request_error",
    422: "invalid_request_error",
}


class ApiError(Exception):
    def __init__(self, status: int, message: str, *, param: str | None = None,
                 code: str | None = None) -> None:
        super().__init__(message)
        self.status = status
        self.message = message
        self.param = param
        self.code = code


def error_response(status: int, message: str, *, param: str | None = None,
                   code: str | None = None) -> JSONResponse:
    body = {"error": {"message": message, "type": _TYPES.get(status, "server_error"),
                      "param": param, "code": code}}
    return JSONResponse(body, status_code=status)


def response_for(error: ApiError) -> JSONResponse:
    return error_response(error.status, error.message, param=error.param, code=error.code)
